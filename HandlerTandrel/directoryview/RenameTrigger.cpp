#include "directoryview/RenameTrigger.h"

namespace HandlerTandrel {

host::UI_TimerID RenameTrigger::TimerID() {
    static const host::UI_TimerID id = host::UI_NodeManager::GetUniqueTimerID();
    return id;
}

void RenameTrigger::Start(const host::TreeRowPtr& row) {
    if (row && mStartRename) {
        mStartRename(row);
    }
}

bool RenameTrigger::IsRenameKey(const host::KeyboardEvent& event) const {
    return mKeysEnabled && event.actionKeyDown && event.modifiers == 0 &&
           (event.keyCode == host::kKeyCodeReturn || event.keyCode == host::kKeyCodeEnter);
}

bool RenameTrigger::KeyDown(const host::KeyboardEvent& event,
                            const std::function<host::TreeRowPtr()>& renamableRow) {
    if (!IsRenameKey(event)) {
        return false; // the tree handles it
    }
    Start(renamableRow());
    return true; // these keys never reach the tree
}

void RenameTrigger::ClickDown(const std::vector<host::TreeRowPtr>& selectedBefore) {
    mCandidate = selectedBefore.size() == 1 ? selectedBefore.front() : nullptr;
}

void RenameTrigger::ClickUp(const host::TreeRowPtr& row, bool onName) {
    if (onName) {
        mTimers.UI_RemoveTimer(TimerID());
    } else if (row == mCandidate.lock()) {
        mTimers.UI_RemoveTimer(TimerID());
        mTimers.UI_InstallTimer(kDelaySeconds, TimerID());
    }
}

void RenameTrigger::DoubleClicked() {
    mTimers.UI_RemoveTimer(TimerID());
}

bool RenameTrigger::TimerFired(host::UI_TimerID id) {
    if (id != TimerID()) {
        return false;
    }
    mTimers.UI_RemoveTimer(id);
    Start(mCandidate.lock());
    return true;
}

bool RenameTrigger::IsOnName(host::UI_Rect frame, float trailingWidth, host::UI_Point point) {
    frame.width -= trailingWidth;
    return frame.width > 0 && frame.height > 0 && point.x >= frame.left &&
           point.x < frame.left + frame.width && point.y >= frame.top &&
           point.y < frame.top + frame.height;
}

} // namespace HandlerTandrel
