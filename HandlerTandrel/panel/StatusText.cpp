#include "panel/StatusText.h"

#include "host/Localizer.h"

#include <string>
#include <string_view>

namespace HandlerTandrel {

namespace {

constexpr std::string_view kTotalSingularKey =
    "$$$/Marvane/Handlers/MvProductionFolder/TotalItemsSingular=@0 item#{comment}Shows the total "
    "number of items in the Production panel tree view.  This is shown when there is no "
    "selection";
constexpr std::string_view kTotalPluralKey =
    "$$$/Marvane/Handlers/MvProductionFolder/TotalItemsPlural=@0 items#{comment}Shows the total "
    "number of items in the Production panel tree view.  This is shown when there is no "
    "selection";
constexpr std::string_view kSelectedSingularKey =
    "$$$/Marvane/Handlers/MvProductionFolder/SelectedAndTotalItemsSingular=@0 of @1 item "
    "selected#{comment}Shows how many items are selected, out of the total number of items in "
    "the Production panel tree view.";
constexpr std::string_view kSelectedPluralKey =
    "$$$/Marvane/Handlers/MvProductionFolder/SelectedAndTotalItemsPlural=@0 of @1 items "
    "selected#{comment}Shows how many items are selected, out of the total number of items in "
    "the Production panel tree view.";

constexpr std::string_view kSearchingKey =
    "$$$/Marvane/Handlers/MvProductionFolder/Searching=Searching... @0 found#{comment}Shown "
    "while a search of the production runs, with how many projects it found so far.";

} // namespace

host::WideString SearchingStatusTextFor(std::size_t found) {
    return host::ToUTF16(host::Localize(kSearchingKey, {std::to_string(found)}));
}

host::WideString StatusTextFor(int total, int selected) {
    if (selected == 0) {
        const auto key = total == 1 ? kTotalSingularKey : kTotalPluralKey;
        return host::ToUTF16(host::Localize(key, {std::to_string(total)}));
    }
    const auto key = total == 1 ? kSelectedSingularKey : kSelectedPluralKey;
    return host::ToUTF16(host::Localize(key, {std::to_string(selected), std::to_string(total)}));
}

} // namespace HandlerTandrel
