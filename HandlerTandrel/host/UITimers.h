#pragma once
// The host UI toolkit's keyboard events and timers. Main thread only.
#include <cstdint>
#include <functional>

namespace host {

// A key as the host reports it. Key code values: 4 is Return, 5 is the keypad's Enter; other
// keys have other values.
struct KeyboardEvent {
    bool actionKeyDown = true;   // a key going down (not a release, not a repeat of text)
    std::uint32_t modifiers = 0; // kModifierShift, kModifierControl, kModifierAlternative
    int keyCode = 0;
};
inline constexpr int kKeyCodeReturn = 4;
inline constexpr int kKeyCodeEnter = 5;
// Other keys: 1000 plus the key's code; a letter's code is its capital ASCII letter.
constexpr int KeyCodeOfLetter(char capital) {
    return 1000 + capital;
}

using UI_TimerID = std::uint32_t;

class UI_NodeManager {
public:
    // An id no other timer of the process uses.
    static UI_TimerID GetUniqueTimerID();
};

// Timers of one owner: each id fires its callback once, after its delay, unless it is removed
// first. Installing an id again restarts it. The owner's timers stop when it is destroyed.
class UI_TimerOwner {
public:
    using Notify = std::function<void(UI_TimerID id)>;
    explicit UI_TimerOwner(Notify notify);
    ~UI_TimerOwner();
    UI_TimerOwner(const UI_TimerOwner&) = delete;
    UI_TimerOwner& operator=(const UI_TimerOwner&) = delete;

    void UI_InstallTimer(double seconds, UI_TimerID id);
    void UI_RemoveTimer(UI_TimerID id);
    bool IsTimerInstalled(UI_TimerID id) const;

private:
    struct Impl;
    Impl* mImpl;
};

} // namespace host
