#pragma once
// Host messaging: named stations broadcast messages to listeners that they hold weakly.
//
// Threading: Broadcast runs the listeners synchronously and only on the main thread.
// Post may be called from any thread; the message is delivered later on the main thread.
// A listener destroyed before delivery is skipped; listeners may subscribe or unsubscribe
// from inside ReceiveMessage.
#include "host/CoreTypes.h"

#include <cstdint>
#include <memory>
#include <string_view>

namespace host {

using MessageTypeID = std::uint64_t;

// The id of a message type is the 64-bit FNV-1a hash of its type name.
constexpr MessageTypeID HashMessageTypeName(std::string_view typeName) {
    std::uint64_t hash = 14695981039346656037ull;
    for (char c : typeName) {
        hash ^= static_cast<unsigned char>(c);
        hash *= 1099511628211ull;
    }
    return hash;
}

class Message {
public:
    explicit Message(MessageTypeID typeID) : mTypeID(typeID) {}
    virtual ~Message() = default;
    MessageTypeID GetTypeID() const { return mTypeID; }

private:
    MessageTypeID mTypeID;
};

// Declares a message type without payload: struct FooMessage : host::Message {...}.
#define HOST_DECLARE_MESSAGE_TYPE(TypeName)                                                        \
    static constexpr ::host::MessageTypeID kTypeID = ::host::HashMessageTypeName(#TypeName);       \
    TypeName() : ::host::Message(kTypeID) {}

class Listener {
public:
    virtual ~Listener() = default;
    virtual void ReceiveMessage(const Message& message) = 0;
};

class MessageStation {
public:
    // The station with this name; made on first use and kept for the life of the process.
    static std::shared_ptr<MessageStation> Get(std::string_view stationName);

    virtual ~MessageStation() = default;
    virtual void Subscribe(std::weak_ptr<Listener> listener) = 0;
    virtual void Unsubscribe(const Listener* listener) = 0;
    // Main thread only; throws std::logic_error elsewhere.
    virtual void Broadcast(const Message& message) = 0;
    // Any thread; delivered on the main thread.
    virtual void Post(std::shared_ptr<const Message> message) = 0;
    virtual std::size_t ListenerCount() const = 0;
};

bool CurrentThreadIsMainThread();

} // namespace host
