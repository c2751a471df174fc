#pragma once
// The host UI toolkit's light view nodes: a cell of a multi-column tree is a small tree of
// nodes (a sub-view holding static images and static texts) that the tree draws itself, so a
// row costs a few objects, never a widget. Main thread only.
#include "host/CoreTypes.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace host {

struct UI_Rect {
    float left = 0;
    float top = 0;
    float width = 0;
    float height = 0;
    bool operator==(const UI_Rect&) const = default;
};

class UI_Node {
public:
    UI_Node() = default;
    virtual ~UI_Node() = default;
    UI_Node(const UI_Node&) = delete;
    UI_Node& operator=(const UI_Node&) = delete;

    void SetNodeID(const ByteString& id) { mNodeID = id; }
    const ByteString& GetNodeID() const { return mNodeID; }
    void SetBounds(const UI_Rect& bounds) { mBounds = bounds; }
    const UI_Rect& GetBounds() const { return mBounds; }
    void SetVisible(bool visible) { mVisible = visible; }
    bool IsVisible() const { return mVisible; }

private:
    ByteString mNodeID;
    UI_Rect mBounds;
    bool mVisible = true;
};

// A node that holds other nodes, drawn in the order they were added.
class UI_Container : public UI_Node {
public:
    void ChildPushBack(std::unique_ptr<UI_Node> child) { mChildren.push_back(std::move(child)); }
    const std::vector<std::unique_ptr<UI_Node>>& GetChildren() const { return mChildren; }

private:
    std::vector<std::unique_ptr<UI_Node>> mChildren;
};

// A container that lays its children out whenever its bounds change.
class UI_SubView : public UI_Container {
public:
    // Places the children for the new bounds (the cell's rectangle in the tree).
    virtual void BoundsChanged(const UI_Rect& bounds) { SetBounds(bounds); }
};

// A host picture (an icon of the icon set, or a picture drawn by the host).
class UI_PictureImpl;
using UI_Picture = std::shared_ptr<const UI_PictureImpl>;

// What an image node asks for when it is about to be drawn.
struct UI_PictureRequest {
    std::uint32_t stateFlags = 0; // host drawing flags; the supplier may add its own bits
    float width = 0;              // the size it will be drawn at
    float height = 0;
    UI_Picture picture; // the supplier's answer
};

// Answers picture requests with one picture of the host's icon set.
class UI_ImageHandler {
public:
    explicit UI_ImageHandler(UI_Picture picture) : mPicture(std::move(picture)) {}
    void Answer(UI_PictureRequest& request) const { request.picture = mPicture; }
    const UI_Picture& GetPicture() const { return mPicture; }

private:
    UI_Picture mPicture;
};

class UI_StaticImage : public UI_Node {
public:
    using PictureSupplier = std::function<void(UI_PictureRequest&)>;
    void SetPictureSupplier(PictureSupplier supplier) { mSupplier = std::move(supplier); }
    // Asks the supplier for the picture to draw; empty when there is none.
    UI_Picture RequestPicture(float width, float height, std::uint32_t stateFlags = 0) const {
        UI_PictureRequest request{stateFlags, width, height, nullptr};
        if (mSupplier) {
            mSupplier(request);
        }
        mLastFlags = request.stateFlags;
        return request.picture;
    }
    // The flags of the last request after the supplier saw it.
    std::uint32_t GetLastRequestFlags() const { return mLastFlags; }

private:
    PictureSupplier mSupplier;
    mutable std::uint32_t mLastFlags = 0;
};

class UI_StaticText : public UI_Node {
public:
    void SetValue(const WideString& text) { mText = text; }
    const WideString& GetValue() const { return mText; }
    // "Regular", "Italic", "Bold".
    void SetFontStyle(const ByteString& style) { mFontStyle = style; }
    const ByteString& GetFontStyle() const { return mFontStyle; }
    void SetFontSize(float size) { mFontSize = size; }
    float GetFontSize() const { return mFontSize; }
    // The width the value takes when drawn in this style and size; negative where the host
    // has no fonts to measure with.
    float MeasureValueWidth() const;

private:
    WideString mText;
    ByteString mFontStyle = "Regular";
    float mFontSize = 12.0f;
};

// The host's pictures: the generic folder icon, and the badges of the application icon set by
// resource name ("kMvProductionPanelProjectClosedNoLockDecal", ...). Empty for an unknown name.
UI_Picture GetGenericFolderIcon(int width, int height);
std::shared_ptr<UI_ImageHandler> MakeIconSetImageHandler(const ByteString& resourceName);

} // namespace host
