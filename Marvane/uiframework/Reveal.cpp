// Showing folders and items in the system's file browser (host/UIFramework.h): the freedesktop
// file manager interface on the session bus, else the desktop's handler for folders.
#include "host/DebugTrace.h"
#include "host/FileServices.h"
#include "host/UIFramework.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDesktopServices>
#include <QStringList>
#include <QUrl>
#include <set>

namespace host {

namespace {

constexpr int kAnswerTimeoutMs = 3000;

QString ToQString(const WideString& text) {
    return QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size()));
}

QString Uri(const WideString& path) {
    return QUrl::fromLocalFile(ToQString(path)).toString(QUrl::FullyEncoded);
}

// Asks the desktop's file manager; false when none is on the bus or it did not answer.
bool CallFileManager(const QString& method, const QStringList& uris) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    const QString service = QStringLiteral("org.freedesktop.FileManager1");
    if (!bus.isConnected() || bus.interface() == nullptr ||
        !bus.interface()->isServiceRegistered(service).value()) {
        return false;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        service, QStringLiteral("/org/freedesktop/FileManager1"), service, method);
    call << uris << QString(); // no start-up notification id
    const QDBusMessage answer = bus.call(call, QDBus::Block, kAnswerTimeoutMs);
    if (answer.type() != QDBusMessage::ReplyMessage) {
        Trace("Host", 2,
              "The file manager did not show the items: " + answer.errorMessage().toStdString());
        return false;
    }
    return true;
}

void OpenFolders(const std::set<WideString>& folders) {
    for (const WideString& folder : folders) {
        if (!QDesktopServices::openUrl(QUrl::fromLocalFile(ToQString(folder)))) {
            Trace("Host", 2, "No program opened the folder " + ToUTF8(folder));
        }
    }
}

WideString FolderOf(const WideString& path) {
    const WideString clean = StripTrailingSlash(path);
    const std::size_t slash = clean.rfind(u'/');
    return slash == WideString::npos || slash == 0 ? WideString(u"/") : clean.substr(0, slash);
}

} // namespace

void RevealFolder(const WideString& folder) {
    if (!DirectoryExists(folder)) {
        return;
    }
    if (!CallFileManager(QStringLiteral("ShowFolders"), {Uri(StripTrailingSlash(folder))})) {
        OpenFolders({StripTrailingSlash(folder)});
    }
}

void RevealAndSelectFiles(const std::vector<WideString>& paths) {
    QStringList uris;
    std::set<WideString> folders;
    for (const WideString& path : paths) {
        if (FileOrDirExists(path)) {
            uris << Uri(StripTrailingSlash(path));
            folders.insert(FolderOf(path));
        }
    }
    if (!uris.isEmpty() && !CallFileManager(QStringLiteral("ShowItems"), uris)) {
        OpenFolders(folders);
    }
}

} // namespace host
