#include "Marvane/app/DemoEditor.h"

#include "Marvane/application/DemoProduction.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcessEnvironment>

namespace host {

namespace {

constexpr int kStartMs = 10000;
constexpr int kQuitMs = 5000;

QString Native(const std::filesystem::path& path) {
    return QString::fromStdString(path.string());
}

} // namespace

DemoEditor::~DemoEditor() {
    Stop();
}

bool DemoEditor::Start(const std::filesystem::path& production,
                       const std::filesystem::path& profile, std::string& error) {
    if (IsRunning()) {
        return true;
    }
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    mProcess.setProcessEnvironment(environment);
    mProcess.setStandardErrorFile(QProcess::nullDevice());
    mProcess.start(QCoreApplication::applicationFilePath(),
                   {QStringLiteral("--production"), Native(production), QStringLiteral("--user"),
                    QString::fromUtf8(kDemoOtherEditorName), QStringLiteral("--profile"),
                    Native(profile), QStringLiteral("--script")});
    if (!mProcess.waitForStarted(kStartMs)) {
        error = mProcess.errorString().toStdString();
        return false;
    }
    const std::string open = "open\t" + (production / kHeldProject).string() + "\n";
    mProcess.write(open.data(), static_cast<qint64>(open.size()));
    return true;
}

bool DemoEditor::WaitUntilHolding(int milliseconds) {
    // It answers "ready" once it takes commands, then "ok" once the project is open.
    QElapsedTimer waited;
    waited.start();
    while (IsRunning() && waited.elapsed() < milliseconds) {
        while (mProcess.canReadLine()) {
            const QByteArray line = mProcess.readLine().trimmed();
            if (line == "ok") {
                return true;
            }
            if (line.startsWith("error")) {
                return false;
            }
        }
        mProcess.waitForReadyRead(static_cast<int>(milliseconds - waited.elapsed()));
    }
    return false;
}

void DemoEditor::Stop() {
    if (!IsRunning()) {
        return;
    }
    // The end of its script: it closes its project, which gives the lock back, and quits.
    mProcess.closeWriteChannel();
    if (!mProcess.waitForFinished(kQuitMs)) {
        mProcess.terminate(); // it stops in order on a termination signal too
        if (!mProcess.waitForFinished(kQuitMs)) {
            mProcess.kill();
            mProcess.waitForFinished(kQuitMs);
        }
    }
}

} // namespace host
