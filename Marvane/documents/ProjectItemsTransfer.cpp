#include "Marvane/documents/ProjectItemsTransfer.h"

#include <algorithm>

namespace host {

namespace {

// The index of the name in the list, or the list's size when it holds none of that name.
std::size_t IndexOf(const NameList& list, std::string_view name) {
    for (std::size_t index = 0; index < list.size(); ++index) {
        if (list.View(index) == name) {
            return index;
        }
    }
    return list.size();
}

bool Holds(const NameList& list, const std::string& name) {
    return IndexOf(list, name) != list.size();
}

void AddAll(NameList& list, const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        list.push_back(FreeItemName(list, name));
    }
}

void RemoveOnce(NameList& list, const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        if (const std::size_t found = IndexOf(list, name); found != list.size()) {
            list.erase(list.begin() + static_cast<std::ptrdiff_t>(found));
        }
    }
}

} // namespace

std::string FreeItemName(const NameList& list, const std::string& name) {
    if (!Holds(list, name)) {
        return name;
    }
    for (std::size_t number = 2;; ++number) {
        std::string candidate = name + " " + std::to_string(number);
        if (!Holds(list, candidate)) {
            return candidate;
        }
    }
}

bool CanReceiveItems(const OpenProject& target, const OpenProject* source) {
    return !target.IsReadOnly() && source != &target;
}

bool TransferItems(OpenProject& target, OpenProject* source, const ItemsToTransfer& items,
                   bool move) {
    if (!CanReceiveItems(target, source) || (items.bins.empty() && items.sequences.empty())) {
        return false;
    }
    ProjectContent content = target.Content();
    AddAll(content.bins, items.bins);
    AddAll(content.sequences, items.sequences);
    target.EditContent(content);
    if (move && source != nullptr && !source->IsReadOnly()) {
        ProjectContent left = source->Content();
        RemoveOnce(left.bins, items.bins);
        RemoveOnce(left.sequences, items.sequences);
        source->EditContent(left);
    }
    return true;
}

} // namespace host
