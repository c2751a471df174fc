// The host's pictures: its own icon set (SVG resources under ":/icons"), the folder icon
// among them. Pictures are made once and shared; main thread only.
#include "Marvane/uitoolkit/PictureImpl.h"

#include <QFile>
#include <map>

namespace host {

namespace {

UI_Picture Load(const QString& name) {
    const QString path = QStringLiteral(":/icons/") + name + QStringLiteral(".svg");
    if (!QFile::exists(path)) {
        return nullptr;
    }
    auto picture = std::make_shared<const UI_PictureImpl>(path, name);
    return picture->IsValid() ? picture : nullptr;
}

} // namespace

UI_Picture GetGenericFolderIcon(int, int) {
    static const UI_Picture folder = Load(QStringLiteral("GenericFolder"));
    return folder;
}

std::shared_ptr<UI_ImageHandler> MakeIconSetImageHandler(const ByteString& resourceName) {
    static std::map<ByteString, UI_Picture> loaded;
    auto found = loaded.find(resourceName);
    if (found == loaded.end()) {
        found = loaded.emplace(resourceName, Load(QString::fromStdString(resourceName))).first;
    }
    return found->second ? std::make_shared<UI_ImageHandler>(found->second) : nullptr;
}

} // namespace host
