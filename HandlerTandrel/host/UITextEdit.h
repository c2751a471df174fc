#pragma once
// A one-line edit field laid over the rows of a multi-column tree: the tree makes it
// (UI_MultiColumnTree::CreateEditField), shows it with the keyboard focus and all its text
// selected, and removes it on request. The edit ends once: Return or Enter commits, Escape
// cancels, and the focus moving elsewhere in the window commits, as in the file managers
// users know; switching to another window does not end it. Main thread only.
#include "host/CoreTypes.h"
#include "host/UINodes.h"

#include <functional>
#include <memory>

namespace host {

class TextEditImpl;

class UI_TextEdit {
public:
    // Why an edit ended.
    static constexpr int kEndCommitted = 0; // Return or Enter
    static constexpr int kEndCancelled = 1; // Escape
    static constexpr int kEndFocusLost = 2; // the user went elsewhere in the window: commits
    // 0: the field keeps its width; 1: it widens with its text (never narrower than it was
    // made, never past the tree's right edge).
    static constexpr int kSizeFixed = 0;
    static constexpr int kSizeFollowsText = 1;

    using EditEndCallback = std::function<void(UI_TextEdit& edit, int reason)>;
    using ValueChangedCallback = std::function<void(const WideString& value)>;

    explicit UI_TextEdit(std::unique_ptr<TextEditImpl> impl);
    ~UI_TextEdit();
    UI_TextEdit(const UI_TextEdit&) = delete;
    UI_TextEdit& operator=(const UI_TextEdit&) = delete;

    // Replaces the text and selects all of it.
    void SetValue(const WideString& value);
    WideString GetValue() const;
    // A quiet field does not tell anyone of the changes the user types; a field that is not
    // quiet tells its value-changed callback after each one.
    void SetIsQuiet(bool quiet);
    bool IsQuiet() const;
    void SetValueChangedCallback(ValueChangedCallback callback);
    void SetDesiredSizeVariation(int variation);
    // The field takes no more text than this many bytes in UTF-8: typing or pasting beyond
    // it is refused as it happens (0: no limit). A value set by SetValue is kept whole.
    void SetMaximumBytes(std::size_t bytes);
    // Told once, when the edit ends. The callback may remove the field.
    void NotifyWhenEditEnds(EditEndCallback callback);
    bool HasEnded() const;
    void SetVisible(bool visible);
    bool IsVisible() const;
    // Where the field is, in the tree's visible area.
    UI_Rect GetFrame() const;

    TextEditImpl& Impl() const { return *mImpl; }

private:
    std::unique_ptr<TextEditImpl> mImpl;
};

} // namespace host
