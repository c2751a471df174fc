#pragma once
// A host picture: an SVG of the host's icon set, drawn at any size.
#include "host/UINodes.h"

#include <QPainter>
#include <QString>
#include <QSvgRenderer>
#include <memory>

namespace host {

class UI_PictureImpl {
public:
    explicit UI_PictureImpl(const QString& resourcePath, QString name)
        : mRenderer(std::make_unique<QSvgRenderer>(resourcePath)), mName(std::move(name)) {}
    bool IsValid() const { return mRenderer->isValid(); }
    void Paint(QPainter& painter, const QRectF& rect) const { mRenderer->render(&painter, rect); }
    const QString& Name() const { return mName; }

private:
    std::unique_ptr<QSvgRenderer> mRenderer;
    QString mName;
};

} // namespace host
