#include "Marvane/uitoolkit/DragAndDrop.h"

#include <QDrag>
#include <QFile>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPainter>
#include <QSvgRenderer>
#include <QUrl>
#include <optional>

namespace host {

namespace {

// The keys of the drag event being handled, while one is.
std::optional<Qt::KeyboardModifiers> gDragEventKeys;

QString ToQ(const ByteString& text) {
    return QString::fromStdString(text);
}

QJsonArray ToJson(const std::vector<ByteString>& names) {
    QJsonArray array;
    for (const ByteString& name : names) {
        array.append(QString::fromStdString(name));
    }
    return array;
}

bool FromJson(const QJsonValue& value, std::vector<ByteString>& names) {
    if (!value.isArray() && !value.isUndefined()) {
        return false;
    }
    for (const QJsonValue& name : value.toArray()) {
        if (!name.isString()) {
            return false;
        }
        names.push_back(name.toString().toStdString());
    }
    return true;
}

} // namespace

QPixmap DragCursorPixmap(DragCursor cursor) {
    const char* name = cursor == DragCursor::Fist      ? ":/icons/CursorFist.svg"
                       : cursor == DragCursor::FistAdd ? ":/icons/CursorFistAdd.svg"
                                                       : ":/icons/CursorFistNo.svg";
    constexpr int kSize = 32;
    QPixmap pixmap(kSize, kSize);
    pixmap.fill(Qt::transparent);
    QSvgRenderer renderer{QString::fromLatin1(name)};
    QPainter painter(&pixmap);
    renderer.render(&painter);
    return pixmap;
}

std::uint32_t ModKeysOf(Qt::KeyboardModifiers modifiers) {
    std::uint32_t keys = 0;
    keys |= modifiers.testFlag(Qt::ShiftModifier) ? kModKeyShift : 0u;
    keys |= modifiers.testFlag(Qt::AltModifier) ? kModKeyAlt : 0u;
    keys |= modifiers.testFlag(Qt::ControlModifier) ? kModKeyCopy : 0u;
    return keys;
}

std::uint32_t GetCurrentModKeys() {
    return ModKeysOf(gDragEventKeys ? *gDragEventKeys : QGuiApplication::queryKeyboardModifiers());
}

Qt::DropActions ToQtActions(std::uint32_t actions) {
    Qt::DropActions qt;
    qt.setFlag(Qt::CopyAction, (actions & kDropActionCopy) != 0);
    qt.setFlag(Qt::LinkAction, (actions & kDropActionLink) != 0);
    qt.setFlag(Qt::MoveAction, (actions & kDropActionMove) != 0);
    return qt;
}

std::uint32_t FromQtAction(Qt::DropAction action) {
    switch (action) {
    case Qt::CopyAction:
        return kDropActionCopy;
    case Qt::LinkAction:
        return kDropActionLink;
    case Qt::MoveAction:
    case Qt::TargetMoveAction:
        return kDropActionMove;
    default:
        return kDropActionNone;
    }
}

bool DropData::HasType(const ByteString& type) const {
    return mImpl.mime != nullptr && mImpl.mime->hasFormat(ToQ(type));
}

std::vector<std::uint8_t> DropData::GetBytes(const ByteString& type) const {
    if (!HasType(type)) {
        return {};
    }
    const QByteArray bytes = mImpl.mime->data(ToQ(type));
    return {bytes.begin(), bytes.end()};
}

std::vector<WideString> DropData::GetFiles() const {
    std::vector<WideString> files;
    if (mImpl.mime == nullptr || !mImpl.mime->hasUrls()) {
        return files;
    }
    for (const QUrl& url : mImpl.mime->urls()) {
        if (url.isLocalFile()) {
            const QString path = url.toLocalFile();
            files.emplace_back(reinterpret_cast<const char16_t*>(path.utf16()),
                               static_cast<std::size_t>(path.size()));
        }
    }
    return files;
}

QByteArray EncodeProjectItems(const DraggedProjectItems& items) {
    QJsonObject object;
    object.insert(QStringLiteral("project"), QString::fromStdString(items.projectPath));
    object.insert(QStringLiteral("bins"), ToJson(items.bins));
    object.insert(QStringLiteral("sequences"), ToJson(items.sequences));
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

bool GetDraggedProjectItems(const DropData& data, DraggedProjectItems& items) {
    if (!data.HasType(kDataTypeName_ProjectItem)) {
        return false;
    }
    const QJsonDocument document = QJsonDocument::fromJson(
        data.Impl().mime->data(QString::fromLatin1(kDataTypeName_ProjectItem)));
    if (!document.isObject()) {
        return false;
    }
    const QJsonObject object = document.object();
    DraggedProjectItems read;
    if (!object.value(QStringLiteral("project")).isString()) {
        return false;
    }
    read.projectPath = object.value(QStringLiteral("project")).toString().toStdString();
    if (!FromJson(object.value(QStringLiteral("bins")), read.bins) ||
        !FromJson(object.value(QStringLiteral("sequences")), read.sequences)) {
        return false;
    }
    items = std::move(read);
    return true;
}

SendData::SendData(std::unique_ptr<SendDataImpl> impl) : mImpl(std::move(impl)) {}

SendData::~SendData() = default;

void SendData::AddBytes(const ByteString& type, const std::vector<std::uint8_t>& bytes) {
    mImpl->mime->setData(ToQ(type), QByteArray(reinterpret_cast<const char*>(bytes.data()),
                                               static_cast<qsizetype>(bytes.size())));
}

std::uint32_t SendData::RunDrag(std::uint32_t allowedActions) {
    if (!mImpl->source || !mImpl->mime) {
        return kDropActionNone;
    }
    auto* drag = new QDrag(mImpl->source.data());
    drag->setMimeData(mImpl->mime.release());
    // The cursor tells what a drop here would do: move, copy, or nothing.
    drag->setDragCursor(DragCursorPixmap(DragCursor::Fist), Qt::MoveAction);
    drag->setDragCursor(DragCursorPixmap(DragCursor::FistAdd), Qt::CopyAction);
    drag->setDragCursor(DragCursorPixmap(DragCursor::FistNo), Qt::IgnoreAction);
    const Qt::DropActions allowed = ToQtActions(allowedActions);
    return FromQtAction(
        drag->exec(allowed, allowed.testFlag(Qt::MoveAction) ? Qt::MoveAction : Qt::CopyAction));
}

DropRequest AnswerDragEvent(QDropEvent& event, bool isDrop,
                            const std::function<void(DropRequest&)>& handler) {
    const DropDataImpl impl(event.mimeData());
    const DropData data(impl);
    DropRequest request{data, isDrop};
    if (handler) {
        gDragEventKeys = event.modifiers();
        handler(request);
        gDragEventKeys.reset();
    }
    const Qt::DropAction action = request.action == kDropActionCopy   ? Qt::CopyAction
                                  : request.action == kDropActionLink ? Qt::LinkAction
                                                                      : Qt::MoveAction;
    if (request.accepted && event.possibleActions().testFlag(action)) {
        event.setDropAction(action);
        event.accept();
    } else {
        request.accepted = request.accepted && event.possibleActions().testFlag(action);
        event.setDropAction(Qt::IgnoreAction);
        event.ignore();
    }
    return request;
}

} // namespace host
