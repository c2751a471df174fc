#pragma once
// Which context menu a right-click in the tree shows, from what the selection holds.
#include <string_view>

namespace HandlerTandrel {

// The menu for a selection classified by Utils::ClassifyItems (its bits OR-ed): the trash
// menu whenever the trash folder itself is among the items; none for anything inside the
// trash; the mixed menu for projects with folders; else the project or the folder menu.
// Empty when no menu is shown.
std::string_view ContextMenuForSelection(int classification);

} // namespace HandlerTandrel
