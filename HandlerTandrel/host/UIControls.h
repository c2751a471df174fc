#pragma once
// The host UI toolkit's controls: the widgets a panel places around its trees (a sub-view that
// holds trees, a search box, a static text, a slider and picture buttons), and the host skin's
// measures. A panel creates them in its FinishCreateSelf and places them itself whenever its
// bounds change. Main thread only.
#include "host/CoreTypes.h"
#include "host/DataTransfer.h"
#include "host/Messaging.h"
#include "host/UINodes.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace host {

class TabView;
class UI_MultiColumnTree;
class UI_ControlImpl;

struct UI_Size {
    float width = 0;
    float height = 0;
};

// What every control has: a node id (the widget's object name), a frame in the panel, a
// tooltip, and visible and enabled states.
class UI_Control {
public:
    virtual ~UI_Control();
    UI_Control(const UI_Control&) = delete;
    UI_Control& operator=(const UI_Control&) = delete;

    const ByteString& GetNodeID() const;
    void SetFrame(const UI_Rect& frame);
    UI_Rect GetFrame() const;
    void SetVisible(bool visible);
    bool IsVisible() const;
    void SetEnabled(bool enabled);
    bool IsEnabled() const;
    // A localisation key with its default text ("$$$/...=Text").
    void SetToolTip(const ByteString& key);
    ByteString GetToolTip() const;
    // The size the control looks right at in the host's style.
    UI_Size GetRecommendedSize() const;

    UI_ControlImpl* GetImpl() const { return mImpl.get(); }

protected:
    explicit UI_Control(std::unique_ptr<UI_ControlImpl> impl);

private:
    std::unique_ptr<UI_ControlImpl> mImpl;
};

// A plain area of the panel that holds trees one above the other, each filling it; the owner
// shows one at a time.
class SubView : public UI_Control {
public:
    static std::unique_ptr<SubView> Create(TabView& parent, const ByteString& nodeID);
    // Puts the tree into the area; it fills the area from now on.
    void EmbedTree(UI_MultiColumnTree& tree);

private:
    using UI_Control::UI_Control;
};

// Broadcast on the search box's station (named by its node id) when its text changed, by
// typing, by its clear button or by Escape.
struct SearchBoxValueChangedMessage : Message {
    HOST_DECLARE_MESSAGE_TYPE(SearchBoxValueChangedMessage)
};

// A one-line text field with a prompt shown while it is empty and a clear button; Escape
// clears it, and Ctrl+F anywhere in its panel puts the typing there.
class SearchBoxControl : public UI_Control {
public:
    static std::unique_ptr<SearchBoxControl> Create(TabView& parent, const ByteString& nodeID,
                                                    const ByteString& promptKey);
    WideString GetValue() const;
    // Sets the text; with notify, a value-changed message follows as if the user typed it.
    void SetValue(const WideString& text, bool notify);
    ByteString GetPromptText() const;
    // The name of the station that carries this box's value-changed messages.
    const ByteString& GetStationName() const { return GetNodeID(); }

private:
    using UI_Control::UI_Control;
};

enum class TextAlignment { Left, Center, Right };

class StaticTextControl : public UI_Control {
public:
    static std::unique_ptr<StaticTextControl> Create(TabView& parent, const ByteString& nodeID,
                                                     TextAlignment alignment);
    void SetValue(const WideString& text);
    WideString GetValue() const;

private:
    using UI_Control::UI_Control;
};

// A horizontal slider with values from 0.0 to 1.0.
class SliderControl : public UI_Control {
public:
    // interactive: the user is dragging and the value is not final yet.
    using ValueChangedCallback = std::function<void(bool interactive)>;

    static std::unique_ptr<SliderControl> Create(TabView& parent, const ByteString& nodeID);
    double GetValue() const;
    // Sets the value (clamped to 0.0 .. 1.0) without telling the callback.
    void SetValue(double value);
    // How many steps the track has between 0.0 and 1.0; a finer track follows the pointer
    // more closely.
    void SetStepCount(int steps);
    int GetStepCount() const;
    void SetValueChangedCallback(ValueChangedCallback callback);

private:
    using UI_Control::UI_Control;
};

// A small button showing a picture of the host's icon set. A click issues a command by name
// through the command chain. While the pointer is over it, its status text shows in the main
// window's status bar.
class PictureButton : public UI_Control {
public:
    static std::unique_ptr<PictureButton> Create(TabView& parent, const ByteString& nodeID,
                                                 const ByteString& pictureName,
                                                 const ByteString& commandName);
    void SetStatusText(const ByteString& key);
    ByteString GetStatusText() const;
    const ByteString& GetCommandName() const;
    // Issues the command, as a click does; false when it is disabled or nobody handled it.
    bool Click();
    // The button takes drops: the handler is asked while a drag moves over the button and
    // once more when it is dropped there. An empty handler takes none.
    void SetDropHandler(std::function<void(DropRequest& request)> handler);
    // The cursor the last drag event over the button asked for.
    DragCursor GetDragCursor() const;

private:
    using UI_Control::UI_Control;
};

// Measures of the host skin by number: 7 is the height of a panel's bottom bar of buttons.
// Unknown numbers give 0.
std::int32_t GetDimension(std::int32_t number);
// Whether the host skin is of the seventh generation or later (ours is).
bool IsRunningV7OrBeyond();

} // namespace host
