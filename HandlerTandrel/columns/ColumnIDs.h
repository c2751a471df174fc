#pragma once
// The five columns of the Production panel, in their initial order.
#include "host/PanelFramework.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace HandlerTandrel::Columns {

using ColumnID = std::uint32_t;

inline constexpr ColumnID kNameColumn = host::FourCharCode("Name");
inline constexpr ColumnID kLockColumn = host::FourCharCode("Lock");
inline constexpr ColumnID kModifiedColumn = host::FourCharCode("ModD");
inline constexpr ColumnID kCreatedColumn = host::FourCharCode("CrtD");
inline constexpr ColumnID kSizeColumn = host::FourCharCode("Size");

struct ColumnDefinition {
    ColumnID id;
    std::string_view title; // localisation key with its default
};

inline constexpr std::array<ColumnDefinition, 5> kColumns{{
    {kNameColumn, "$$$/Marvane/Handlers/MvProductionFolder/Columns/Name=Name"},
    {kLockColumn, "$$$/Marvane/Handlers/MvProductionFolder/Columns/ProjectLocked=Project Locked"},
    {kModifiedColumn, "$$$/Marvane/Handlers/MvProductionFolder/Columns/ModDate=Date Modified"},
    {kCreatedColumn, "$$$/Marvane/Handlers/MvProductionFolder/Columns/CreationDate=Date Created"},
    {kSizeColumn, "$$$/Marvane/Handlers/MvProductionFolder/Columns/Size=Size"},
}};

} // namespace HandlerTandrel::Columns
