// Showing folders and items in the system's file browser (host/UIFramework.h): the freedesktop
// file manager interface on the session bus, else the desktop's handler for folders; when
// neither shows them, the window says so.
#include "host/DebugTrace.h"
#include "host/FileServices.h"
#include "host/Localizer.h"
#include "host/UIFramework.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QProcess>
#include <QStringList>
#include <QUrl>
#include <memory>
#include <set>

namespace host {

namespace {

constexpr int kAnswerTimeoutMs = 3000;
constexpr std::string_view kNoOpenerKey =
    "$$$/Marvane/Host/RevealFailed/NoOpener=xdg-open, which opens folders on this desktop, is "
    "not installed.";

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

// Nothing showed the folder: the person is told where it is, and why when known.
void SayNothingShowed(const WideString& folder, const std::string& why) {
    Trace("Host", 2, "No program opened the folder " + ToUTF8(folder) + ": " + why);
    ShowMessageBox(
        Localize("$$$/Marvane/Host/RevealFailed/Title=Cannot Show in File Browser"),
        Localize("$$$/Marvane/Host/RevealFailed/Message=No file browser answered to show the "
                 "folder @0.",
                 {ToUTF8(folder)}),
        {}, kWarningIcon, 0, why);
}

// The desktop's handler for folders (xdg-open), watched to its end: when it fails, or is not
// there, the window says so instead of its complaint going to a terminal nobody reads.
void OpenFolders(const std::set<WideString>& folders) {
    for (const WideString& folder : folders) {
        auto* opener = new QProcess(QCoreApplication::instance());
        opener->setProgram(QStringLiteral("xdg-open"));
        opener->setArguments({ToQString(folder)});
        opener->setProcessChannelMode(QProcess::ForwardedOutputChannel);
        const auto told = std::make_shared<bool>(false);
        QObject::connect(opener, &QProcess::errorOccurred, opener,
                         [opener, folder, told](QProcess::ProcessError error) {
                             if (error != QProcess::FailedToStart || *told) {
                                 return;
                             }
                             *told = true;
                             opener->deleteLater();
                             SayNothingShowed(folder, Localize(kNoOpenerKey));
                         });
        QObject::connect(opener, &QProcess::finished, opener,
                         [opener, folder, told](int exitCode, QProcess::ExitStatus status) {
                             opener->deleteLater();
                             if (*told || (status == QProcess::NormalExit && exitCode == 0)) {
                                 return;
                             }
                             *told = true;
                             SayNothingShowed(
                                 folder, opener->readAllStandardError().trimmed().toStdString());
                         });
        opener->start();
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
