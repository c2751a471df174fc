#include "directoryview/RowDragPayload.h"

#include <cstring>

namespace HandlerTandrel {

std::vector<std::uint8_t> EncodeRowPayload(const std::vector<host::TreeRowPtr>& rows) {
    std::vector<std::uint8_t> bytes(rows.size() * sizeof(std::uintptr_t));
    for (std::size_t index = 0; index < rows.size(); ++index) {
        const auto address = reinterpret_cast<std::uintptr_t>(rows[index].get());
        std::memcpy(bytes.data() + index * sizeof(address), &address, sizeof(address));
    }
    return bytes;
}

std::optional<std::vector<std::uintptr_t>>
DecodeRowPayload(const std::vector<std::uint8_t>& bytes) {
    if (bytes.size() % sizeof(std::uintptr_t) != 0) {
        return std::nullopt;
    }
    std::vector<std::uintptr_t> addresses(bytes.size() / sizeof(std::uintptr_t));
    if (!addresses.empty()) {
        std::memcpy(addresses.data(), bytes.data(), bytes.size());
    }
    return addresses;
}

void DraggedRows::Start(const std::vector<host::TreeRowPtr>& rows) {
    mRows.clear();
    mMayMove.reset();
    for (const host::TreeRowPtr& row : rows) {
        mRows.emplace(reinterpret_cast<std::uintptr_t>(row.get()), row);
    }
}

std::optional<std::vector<host::TreeRowPtr>>
DraggedRows::Resolve(const std::vector<std::uint8_t>& bytes) const {
    const auto addresses = DecodeRowPayload(bytes);
    if (!addresses) {
        return std::nullopt;
    }
    std::vector<host::TreeRowPtr> rows;
    for (const std::uintptr_t address : *addresses) {
        const auto held = mRows.find(address);
        host::TreeRowPtr found = held == mRows.end() ? nullptr : held->second.lock();
        if (!found) {
            return std::nullopt;
        }
        rows.push_back(std::move(found));
    }
    return rows;
}

} // namespace HandlerTandrel
