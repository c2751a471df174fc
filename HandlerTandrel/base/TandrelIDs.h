#pragma once
// Ids under which the Production panel is known to the host.
#include "host/PanelFramework.h"

#include <string_view>

namespace HandlerTandrel {

inline constexpr host::HandlerID kMvProductionFolderHandlerID = host::FourCharCode("MvPF");
inline constexpr host::ModuleID kMvProductionFolderModuleID = host::FourCharCode("MvPM");
inline constexpr std::uint32_t kMvProductionFolderWindowTypeID = host::FourCharCode("MvPW");

inline constexpr std::string_view kProductionContextName = "mvproduction";
inline constexpr std::string_view kRowDragType = "Marvane/TandrelPanel/RowDragType";
inline constexpr std::string_view kPanelStateDataName = "HandlerTandrel.PanelStateData";

// Menu resources of the host, by id.
inline constexpr std::string_view kWingMenuID = "HandlerTandrel_Wing_Menu";
inline constexpr std::string_view kFolderContextMenuID = "HandlerTandrel_Context_Menu_Folder";
inline constexpr std::string_view kProjectContextMenuID = "HandlerTandrel_Context_Menu_Project";
inline constexpr std::string_view kMixedSelectionContextMenuID =
    "HandlerTandrel_Context_Menu_MixedSelection";
inline constexpr std::string_view kNoSelectionContextMenuID =
    "HandlerTandrel_Context_Menu_NoSelection";
inline constexpr std::string_view kTrashContextMenuID = "HandlerTandrel_Context_Menu_Trash";
inline constexpr std::string_view kSearchResultsContextMenuID =
    "HandlerTandrel_SearchResults_Context_Menu_Project";

} // namespace HandlerTandrel
