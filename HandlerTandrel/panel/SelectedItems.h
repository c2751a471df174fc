#pragma once
// The selected items of the view shown, as the rules of the panel's commands read them.
//
// The main window asks for the commands' status several times a second, and a Select All may
// have selected a million rows: they are never made into a million paths to decide whether a
// button is on. Their count is known; the items that lie in no other selected item are few (a
// selected folder stands for what it holds); any other question visits the selected rows in
// display order and stops at the first that answers it, making a path only for a row whose
// name may answer.
#include "host/CoreTypes.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

namespace host {
class MediaBrowserDirectoryView;
}

namespace HandlerTandrel {

class SelectedItems {
public:
    using Paths = std::shared_ptr<const std::vector<host::WideString>>;
    // Whether an item may answer, from its name alone (the last part of its path).
    using NameTest = std::function<bool(std::u16string_view name)>;
    using PathTest = std::function<bool(const host::WideString& path)>;

    // Where a selection comes from.
    class Source {
    public:
        virtual ~Source() = default;
        virtual std::size_t Count() const = 0;
        // Tests the path of each item whose name passes mayMatch (every item when it is
        // null), in display order; whether one passed (the visit stops there).
        virtual bool AnyOf(const NameTest& mayMatch, const PathTest& test) const = 0;
        // The items in no other selected item, in display order.
        virtual std::vector<host::WideString> Outermost() const = 0;
        virtual std::vector<host::WideString> All() const = 0;
    };

    // Nothing selected.
    SelectedItems();
    // These paths, each taken as lying in no other (search results; a caller's own list).
    SelectedItems(std::vector<host::WideString> paths); // NOLINT(google-explicit-constructor)
    explicit SelectedItems(std::shared_ptr<const Source> source);
    // The selected rows of a directory view, read when asked; nothing once the view is gone.
    static SelectedItems OfRows(std::weak_ptr<const host::MediaBrowserDirectoryView> view);

    std::size_t size() const;
    bool empty() const { return size() == 0; }
    // The path of the only selected item; empty unless exactly one is selected.
    host::WideString Only() const;
    // Whether the path of a selected item passes the test; mayMatch as for Source::AnyOf.
    bool AnyOf(const PathTest& test, const NameTest& mayMatch = nullptr) const;
    // The paths of the items whose name passes mayMatch, found once per `key` (mayMatch must
    // answer alike for the same key): the open projects' names are the key while the rules of
    // the commands about open projects are asked several times a second.
    const std::vector<host::WideString>& PathsNamed(const std::vector<host::WideString>& key,
                                                    const NameTest& mayMatch) const;
    // The items in no other selected item, made once and shared (with a test on a worker).
    const Paths& Outermost() const;
    // Every selected path in display order, made each time it is asked for.
    std::vector<host::WideString> All() const;

private:
    struct Named {
        std::vector<host::WideString> key;
        std::vector<host::WideString> paths;
    };

    std::shared_ptr<const Source> mSource;
    mutable Paths mOutermost;
    mutable std::shared_ptr<Named> mNamed;
};

} // namespace HandlerTandrel
