#pragma once
// Edit > Undo and Redo of the panel's organising steps: renames, moves, drops, moves to the
// trash, new folders and copies. A step is undone whole or not at all: before anything moves,
// every item is checked against the world as it is now (another editor may have changed it),
// and a step that cannot go back is refused with the reasons. Nothing is ever written over:
// every move refuses a name that is taken, even one taken a moment before it.
#include "host/ApplicationLayer.h"

#include <cstddef>
#include <deque>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace host {

// Moves one item to another path, true once it is there.
using HistoryMover =
    std::function<bool(const std::filesystem::path& from, const std::filesystem::path& to)>;

struct HistoryOutcome {
    bool done = false;
    std::string refusal; // for the person, one reason a line; empty when done
};

class OrganisingHistory {
public:
    static OrganisingHistory& Instance();

    // A step taken in the production; it clears what could be redone. Not heard while a
    // step is being undone or redone, nor without a production.
    void Record(const OrganisingStep& step, const std::filesystem::path& production);

    // Whether there is a step of this production to undo or redo: nothing is read from disk.
    bool CanUndo(const std::filesystem::path& production) const;
    bool CanRedo(const std::filesystem::path& production) const;
    // The menu's words: "Undo Move of 3 Items", or "Undo" when there is nothing to undo.
    std::string UndoLabel(const std::filesystem::path& production) const;
    std::string RedoLabel(const std::filesystem::path& production) const;

    HistoryOutcome Undo(const std::filesystem::path& production, const HistoryMover& mover);
    HistoryOutcome Redo(const std::filesystem::path& production, const HistoryMover& mover);

    void Clear();
    std::size_t UndoCount() const;

    // A history of its own, for tests; the application uses Instance().
    OrganisingHistory() = default;

private:
    // How one item of a step goes back and forth.
    enum class Role {
        kMoved,      // undo: after to before; redo: before to after
        kMadeFolder, // undo: removed while empty; redo: made again
        kMadeCopy,   // undo: into the trash (before is where it went); redo: back again
    };
    struct Item {
        Role role = Role::kMoved;
        std::filesystem::path before;
        std::filesystem::path after;
    };
    struct Step {
        OrganisingStepKind kind = OrganisingStepKind::kMove;
        std::filesystem::path production;
        std::vector<Item> items;
    };
    enum class Direction { kBack, kForward };

    static std::string StepName(const Step& step);
    static std::vector<std::string> Refusals(const Step& step, Direction direction);
    // Carries out the items; returns the ones that did not go, having told why.
    static std::vector<Item> Carry(Step& step, Direction direction, const HistoryMover& mover,
                                   std::string& refusal);
    HistoryOutcome Replay(const std::filesystem::path& production, const HistoryMover& mover,
                          Direction direction);

    mutable std::mutex mMutex;
    std::deque<Step> mUndo;
    std::deque<Step> mRedo;
    bool mReplaying = false;
};

} // namespace host
