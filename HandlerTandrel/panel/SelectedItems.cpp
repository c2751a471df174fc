#include "panel/SelectedItems.h"

#include "host/MediaBrowser.h"

#include <algorithm>

namespace HandlerTandrel {

namespace {

std::u16string_view LastPart(std::u16string_view path) {
    const std::size_t slash = path.rfind(u'/');
    return slash == std::u16string_view::npos ? path : path.substr(slash + 1);
}

class GivenPaths final : public SelectedItems::Source {
public:
    explicit GivenPaths(std::vector<host::WideString> paths) : mPaths(std::move(paths)) {}
    std::size_t Count() const override { return mPaths.size(); }
    bool AnyOf(const SelectedItems::NameTest& mayMatch,
               const SelectedItems::PathTest& test) const override {
        return std::any_of(mPaths.begin(), mPaths.end(), [&](const host::WideString& path) {
            return (!mayMatch || mayMatch(LastPart(path))) && test(path);
        });
    }
    std::vector<host::WideString> Outermost() const override { return mPaths; }
    std::vector<host::WideString> All() const override { return mPaths; }

private:
    std::vector<host::WideString> mPaths;
};

// A directory view's selected rows, visited in its tree; a row's path is made from its name
// and the names of the rows above it.
class SelectedRows final : public SelectedItems::Source {
public:
    explicit SelectedRows(std::weak_ptr<const host::MediaBrowserDirectoryView> view)
        : mView(std::move(view)) {}
    std::size_t Count() const override {
        const auto view = mView.lock();
        return view ? view->GetTree().GetSelectedRowCount() : 0;
    }
    bool AnyOf(const SelectedItems::NameTest& mayMatch,
               const SelectedItems::PathTest& test) const override {
        const auto view = mView.lock();
        return view && !view->GetTree().VisitSelectedRows(
                           [&](const host::TreeRowPtr& row) {
                               return (mayMatch && !mayMatch(row->GetName())) ||
                                      !test(view->GetRowPath(row));
                           },
                           false);
    }
    std::vector<host::WideString> Outermost() const override {
        std::vector<host::WideString> paths;
        if (const auto view = mView.lock()) {
            view->GetTree().VisitSelectedRows(
                [&](const host::TreeRowPtr& row) {
                    paths.push_back(view->GetRowPath(row));
                    return true;
                },
                true);
        }
        return paths;
    }
    std::vector<host::WideString> All() const override {
        const auto view = mView.lock();
        return view ? view->GetSelectedPaths() : std::vector<host::WideString>();
    }

private:
    std::weak_ptr<const host::MediaBrowserDirectoryView> mView;
};

} // namespace

SelectedItems::SelectedItems() : SelectedItems(std::vector<host::WideString>()) {}

SelectedItems::SelectedItems(std::vector<host::WideString> paths)
    : mSource(std::make_shared<GivenPaths>(std::move(paths))) {}

SelectedItems::SelectedItems(std::shared_ptr<const Source> source) : mSource(std::move(source)) {}

SelectedItems SelectedItems::OfRows(std::weak_ptr<const host::MediaBrowserDirectoryView> view) {
    return SelectedItems(std::make_shared<SelectedRows>(std::move(view)));
}

std::size_t SelectedItems::size() const {
    return mSource->Count();
}

host::WideString SelectedItems::Only() const {
    if (size() != 1) {
        return {};
    }
    host::WideString only;
    mSource->AnyOf(nullptr, [&only](const host::WideString& path) {
        only = path;
        return true;
    });
    return only;
}

bool SelectedItems::AnyOf(const PathTest& test, const NameTest& mayMatch) const {
    return mSource->AnyOf(mayMatch, test);
}

const std::vector<host::WideString>&
SelectedItems::PathsNamed(const std::vector<host::WideString>& key,
                          const NameTest& mayMatch) const {
    if (!mNamed || mNamed->key != key) {
        auto named = std::make_shared<Named>();
        named->key = key;
        mSource->AnyOf(mayMatch, [&named](const host::WideString& path) {
            named->paths.push_back(path);
            return false;
        });
        mNamed = std::move(named);
    }
    return mNamed->paths;
}

const SelectedItems::Paths& SelectedItems::Outermost() const {
    if (!mOutermost) {
        mOutermost = std::make_shared<const std::vector<host::WideString>>(mSource->Outermost());
    }
    return mOutermost;
}

std::vector<host::WideString> SelectedItems::All() const {
    return mSource->All();
}

} // namespace HandlerTandrel
