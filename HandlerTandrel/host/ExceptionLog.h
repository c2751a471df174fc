#pragma once
// The host's exception log. Operations catch exceptions at their boundary and log them here
// with their qualified name as the place ("HandlerTandrel::TandrelTabView::OnNewFolderCommand").
#include <exception>
#include <string_view>

namespace host {

void LogException(std::string_view place, const std::exception& error);
void LogUnknownException(std::string_view place);

} // namespace host
