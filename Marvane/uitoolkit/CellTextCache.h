#pragma once
// Laid-out texts of the tree's cells, kept between paints. Shaping a text is most of what
// drawing a cell costs, and the same texts are drawn again on every update and scroll.
#include <QFont>
#include <QPainter>
#include <QStaticText>
#include <QString>
#include <cstdint>
#include <unordered_map>

namespace host {

class CellTextCache {
public:
    // Draws `text` at the left of `rect`, centred vertically, with an ellipsis at the end when
    // it is wider than the rectangle. The painter's pen gives the colour.
    void Draw(QPainter& painter, const QRectF& rect, const QString& text, const QFont& font);
    std::size_t Size() const { return mTexts.size(); }
    // How many texts were laid out since the cache was made.
    std::uint64_t LayoutCount() const { return mLayouts; }

private:
    // More cells than a window shows many times over; past this the cache starts again.
    static constexpr std::size_t kMaximumTexts = 8192;

    struct Key {
        QString text;
        QFont font;
        int width;
        bool operator==(const Key& other) const {
            return width == other.width && text == other.text && font == other.font;
        }
    };
    struct KeyHash {
        std::size_t operator()(const Key& key) const {
            return qHash(key.text) ^ (qHash(key.font) * 31u) ^ static_cast<std::size_t>(key.width);
        }
    };

    std::unordered_map<Key, QStaticText, KeyHash> mTexts;
    std::uint64_t mLayouts = 0;
};

} // namespace host
