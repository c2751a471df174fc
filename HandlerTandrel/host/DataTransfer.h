#pragma once
// Drag and drop. A drag carries data under types (a registered custom type name is the mime
// type under which a drag carries its data); the place under the pointer is asked whether it
// takes the data, with which action, and shows the user a cursor for the answer. Main thread
// only.
#include "host/CoreTypes.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace host {

void RegisterCustomDataType(const ByteString& typeName);
bool IsCustomDataTypeRegistered(const ByteString& typeName);

// The system's list of files (from the desktop's file manager, for example).
inline constexpr const char* kFilesType = "text/uri-list";
// Bins and sequences dragged from a project's window (see GetDraggedProjectItems).
inline constexpr const char* kDataTypeName_ProjectItem = "application/x-marvane-project-items";

// Drop actions, as bits of the allowed actions and as the action a drop takes.
inline constexpr std::uint32_t kDropActionNone = 0;
inline constexpr std::uint32_t kDropActionCopy = 1;
inline constexpr std::uint32_t kDropActionLink = 2;
inline constexpr std::uint32_t kDropActionMove = 4;

// Keys held now, as bits: 1 Shift, 2 Alt, 4 the copy key (Ctrl in our host).
inline constexpr std::uint32_t kModKeyShift = 1;
inline constexpr std::uint32_t kModKeyAlt = 2;
inline constexpr std::uint32_t kModKeyCopy = 4;
// While a drag event is handled, the keys the drag reported with it; otherwise the keys
// held now.
std::uint32_t GetCurrentModKeys();

// The cursors a drop target shows: a closed hand (the drop moves), a closed hand with a plus
// (the drop copies), a closed hand with a no-entry sign (the drop is refused).
enum class DragCursor { Fist, FistAdd, FistNo };

class DropDataImpl;

// What a drag carries, as the place under the pointer sees it.
class DropData {
public:
    explicit DropData(const DropDataImpl& impl) : mImpl(impl) {}
    bool HasType(const ByteString& type) const;
    std::vector<std::uint8_t> GetBytes(const ByteString& type) const;
    // The local files of the system's file list, in order (other addresses left out).
    std::vector<WideString> GetFiles() const;
    const DropDataImpl& Impl() const { return mImpl; }

private:
    const DropDataImpl& mImpl;
};

// Bins and sequences of one open project, dragged from its window.
struct DraggedProjectItems {
    ByteString projectPath; // the project they come from
    std::vector<ByteString> bins;
    std::vector<ByteString> sequences;
    bool IsEmpty() const { return bins.empty() && sequences.empty(); }
};
// The project items a drag carries; false when it carries none or they cannot be read.
bool GetDraggedProjectItems(const DropData& data, DraggedProjectItems& items);

// A place under the pointer is asked (while the pointer moves, and once more on release)
// whether it takes the data. The answer is the action, whether it is accepted, and the cursor.
struct DropRequest {
    const DropData& data;
    bool isDrop = false; // the button was released: carry the drop out
    std::uint32_t action = kDropActionNone;
    bool accepted = false;
    DragCursor cursor = DragCursor::FistNo;
};

class SendDataImpl;

// The data of a drag the user starts, made by the place the drag starts from.
class SendData {
public:
    explicit SendData(std::unique_ptr<SendDataImpl> impl);
    ~SendData();
    SendData(const SendData&) = delete;
    SendData& operator=(const SendData&) = delete;

    void AddBytes(const ByteString& type, const std::vector<std::uint8_t>& bytes);
    // Runs the drag until the button is released; answers the action the drop took
    // (kDropActionNone when it was refused or cancelled). allowedActions: bits as above.
    std::uint32_t RunDrag(std::uint32_t allowedActions);
    SendDataImpl& Impl() const { return *mImpl; }

private:
    std::unique_ptr<SendDataImpl> mImpl;
};

} // namespace host
