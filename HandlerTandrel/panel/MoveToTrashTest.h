#pragma once
// Whether the selection may go to the trash, kept for the panel's Trash button and menus.
//
// The test reads every selected item's lock file and looks through every selected folder. A
// few items are tested at once. For more, the test runs on a worker thread and its answer is
// kept for the same selection: the Trash button is off until the first answer comes (a menu
// or a shortcut may choose the command meanwhile), and a later answer for the same selection
// replaces the kept one without the button going off in between. A kept answer is tested
// again when it is old or something changed, never sooner than a gap after the last test.
// Carrying the command out always tests again.
#include "host/CoreTypes.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace HandlerTandrel {

class MoveToTrashTest {
public:
    // The selection's paths, shared with the test that runs on a worker.
    using Paths = std::shared_ptr<const std::vector<host::WideString>>;

    // Selections up to this many items are tested at once, on the caller's thread.
    static constexpr std::size_t kTestedAtOnce = 32;

    // answered is called on the main thread when an answer made on a worker arrives.
    explicit MoveToTrashTest(std::function<void()> answered);
    ~MoveToTrashTest();
    MoveToTrashTest(const MoveToTrashTest&) = delete;
    MoveToTrashTest& operator=(const MoveToTrashTest&) = delete;

    // The answer for these paths; none while a worker is still testing them.
    std::optional<bool> Answer(const Paths& paths) { return Answer(paths, paths->size()); }
    // The same for paths that stand for `items` selected items (a selected folder stands for
    // the selected rows in it): a few paths for many items are tested on a worker too.
    std::optional<bool> Answer(const Paths& paths, std::size_t items);
    // What the items hold may have changed (rows were listed again, another production
    // opened): a kept answer is tested again the next time it is asked for.
    void Forget();
    // Whether a worker is testing a selection now, for the tests.
    bool IsTesting() const;

private:
    struct State;
    void Start(const Paths& paths, std::uint64_t key);

    std::shared_ptr<State> mState;
};

} // namespace HandlerTandrel
