#pragma once
// A host picture: an SVG of the host's icon set, drawn at any size.
#include "host/UINodes.h"

#include <QImage>
#include <QPainter>
#include <QString>
#include <QSvgRenderer>
#include <map>
#include <memory>
#include <tuple>

namespace host {

class UI_PictureImpl {
public:
    explicit UI_PictureImpl(const QString& resourcePath, QString name)
        : mRenderer(std::make_unique<QSvgRenderer>(resourcePath)), mName(std::move(name)) {}
    bool IsValid() const { return mRenderer->isValid(); }
    // Drawn from a picture made once per size: the vector drawing happens once, not on every
    // paint of every row.
    void Paint(QPainter& painter, const QRectF& rect) const {
        const qreal ratio = painter.device() ? painter.device()->devicePixelRatioF() : 1.0;
        const QSize pixels = (rect.size() * ratio).toSize();
        if (pixels.isEmpty()) {
            return;
        }
        const auto key = std::make_tuple(pixels.width(), pixels.height(), qRound(ratio * 100));
        auto found = mSized.find(key);
        if (found == mSized.end()) {
            if (mSized.size() >= kMaximumSizes) {
                mSized.clear();
            }
            QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
            image.fill(Qt::transparent);
            QPainter onto(&image);
            mRenderer->render(&onto, QRectF(QPointF(0, 0), QSizeF(pixels)));
            onto.end();
            image.setDevicePixelRatio(ratio);
            found = mSized.emplace(key, std::move(image)).first;
        }
        painter.drawImage(rect, found->second);
    }
    const QString& Name() const { return mName; }

private:
    static constexpr std::size_t kMaximumSizes = 8;

    std::unique_ptr<QSvgRenderer> mRenderer;
    // Images, not pixmaps: the pictures outlive the application object.
    mutable std::map<std::tuple<int, int, int>, QImage> mSized;
    QString mName;
};

} // namespace host
