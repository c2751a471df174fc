#include "Marvane/documents/ProjectItemsTransfer.h"

#include <algorithm>

namespace host {

namespace {

bool Holds(const std::vector<std::string>& list, const std::string& name) {
    return std::find(list.begin(), list.end(), name) != list.end();
}

void AddAll(std::vector<std::string>& list, const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        list.push_back(FreeItemName(list, name));
    }
}

void RemoveOnce(std::vector<std::string>& list, const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        const auto found = std::find(list.begin(), list.end(), name);
        if (found != list.end()) {
            list.erase(found);
        }
    }
}

} // namespace

std::string FreeItemName(const std::vector<std::string>& list, const std::string& name) {
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
