#pragma once
// A file descriptor closed when its owner goes.
#include <unistd.h>
#include <utility>

namespace host {

class OwnedDescriptor {
public:
    OwnedDescriptor() = default;
    explicit OwnedDescriptor(int descriptor) : mDescriptor(descriptor) {}
    OwnedDescriptor(OwnedDescriptor&& other) noexcept
        : mDescriptor(std::exchange(other.mDescriptor, -1)) {}
    OwnedDescriptor& operator=(OwnedDescriptor&& other) noexcept {
        if (this != &other) {
            Close();
            mDescriptor = std::exchange(other.mDescriptor, -1);
        }
        return *this;
    }
    OwnedDescriptor(const OwnedDescriptor&) = delete;
    OwnedDescriptor& operator=(const OwnedDescriptor&) = delete;
    ~OwnedDescriptor() { Close(); }

    int Get() const { return mDescriptor; }

private:
    void Close() {
        if (mDescriptor >= 0) {
            ::close(mDescriptor);
        }
        mDescriptor = -1;
    }
    int mDescriptor = -1;
};

} // namespace host
