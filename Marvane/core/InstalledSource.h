#pragma once
// What a lower layer of the host needs from a higher one (the profile folder, the locking
// identity, a preference): the higher layer installs a function that answers, and the lower
// one calls it each time it needs the value, so changes are followed. Keep each source in a
// function's static (InstalledSource<T>& Source() { static InstalledSource<T> s; return s; }):
// sources are installed while the library loads, possibly before other globals exist.
#include <functional>
#include <mutex>
#include <utility>

namespace host {

template <typename Value> class InstalledSource {
public:
    void Install(std::function<Value()> source) {
        const std::lock_guard guard(mMutex);
        mSource = std::move(source);
    }
    // The installed source's answer, or a default-made value while none is installed.
    Value Get() const {
        std::function<Value()> source;
        {
            const std::lock_guard guard(mMutex);
            source = mSource;
        }
        return source ? source() : Value{};
    }

private:
    mutable std::mutex mMutex;
    std::function<Value()> mSource;
};

} // namespace host
