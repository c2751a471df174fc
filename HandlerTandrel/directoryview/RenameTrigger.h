#pragma once
// What starts renaming a row in place. Return or Enter, without a modifier, renames the one
// selected row when it can be seen. A slow second click renames too: a click on the row that
// was already the one selected row, released in its Name cell but past the end of the name,
// starts the rename half a second later unless a double-click comes first. The rename itself
// is told which row through the handler.
#include "host/MultiColumnTree.h"
#include "host/UINodes.h"
#include "host/UITimers.h"

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace HandlerTandrel {

class RenameTrigger {
public:
    using StartRename = std::function<void(const host::TreeRowPtr& row)>;

    RenameTrigger() = default;
    RenameTrigger(const RenameTrigger&) = delete;
    RenameTrigger& operator=(const RenameTrigger&) = delete;

    void SetStartRenameHandler(StartRename handler) { mStartRename = std::move(handler); }
    // Starts renaming row now; nothing for null, or without a handler.
    void Start(const host::TreeRowPtr& row);

    // Keys. While keys are off, every key goes to the tree.
    void EnableKeys(bool enabled) { mKeysEnabled = enabled; }
    bool AreKeysEnabled() const { return mKeysEnabled; }
    // Return and Enter going down without a modifier, while keys are on.
    bool IsRenameKey(const host::KeyboardEvent& event) const;
    // A key went down. A rename key is used up, and starts renaming the row that
    // renamableRow answers (the one selected row when it can be seen; null for none); other
    // keys are left to the tree.
    bool KeyDown(const host::KeyboardEvent& event,
                 const std::function<host::TreeRowPtr()>& renamableRow);

    // Clicks. A click went down; selectedBefore is the selection it found.
    void ClickDown(const std::vector<host::TreeRowPtr>& selectedBefore);
    // A click ended on row (not a drag); onName: on the name itself, which never renames.
    void ClickUp(const host::TreeRowPtr& row, bool onName);
    // A double-click never starts a rename.
    void DoubleClicked();
    // A timer fired; answers whether it was the rename timer (which renames the candidate).
    bool TimerFired(host::UI_TimerID id);

    host::TreeRowPtr GetCandidate() const { return mCandidate.lock(); }
    bool IsTimerInstalled() const { return mTimers.IsTimerInstalled(TimerID()); }
    // The one id of the rename timer, shared by every tree.
    static host::UI_TimerID TimerID();
    static constexpr double kDelaySeconds = 0.5;

    // Whether point lies on the name in a Name cell drawn in frame, whose last trailingWidth
    // is unused. An empty frame holds nothing.
    static bool IsOnName(host::UI_Rect frame, float trailingWidth, host::UI_Point point);

private:
    StartRename mStartRename;
    bool mKeysEnabled = true;
    std::weak_ptr<host::UI_TreeRow> mCandidate;
    host::UI_TimerOwner mTimers{[this](host::UI_TimerID id) { TimerFired(id); }};
};

} // namespace HandlerTandrel
