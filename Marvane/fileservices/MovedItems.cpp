#include "Marvane/fileservices/MovedItems.h"

#include "Marvane/core/InstalledSource.h"

#include <exception>

namespace host {

namespace {

InstalledSource<MovedListener>& Listener() {
    static InstalledSource<MovedListener> listener;
    return listener;
}

} // namespace

void SetMovedListener(MovedListener listener) {
    Listener().Install([listener = std::move(listener)] { return listener; });
}

void TellMoved(const std::filesystem::path& from, const std::filesystem::path& to) {
    const MovedListener listener = Listener().Get();
    if (!listener) {
        return;
    }
    try {
        listener(from, to);
    } catch (const std::exception&) {
        // The move is done; what the listener keeps of it is not the move's business.
    }
}

} // namespace host
