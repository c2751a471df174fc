#include "Marvane/uiframework/MessageBox.h"

#include "Marvane/documents/PersonQuestions.h"
#include "Marvane/fileservices/FailureNotices.h"
#include "Marvane/fileservices/LongWork.h"
#include "Marvane/uiframework/DialogResponder.h"
#include "Marvane/uiframework/FailureMessages.h"
#include "Marvane/uiframework/Window.h"
#include "host/Localizer.h"
#include "host/UIFramework.h"

#include <QAbstractButton>
#include <QCoreApplication>
#include <QFileDialog>
#include <QInputDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <algorithm>

namespace host {

namespace {

constexpr std::size_t kMostFailuresListed = 10;
// How often failures noted during long work look whether it is over.
constexpr int kLookAgainAfterLongWorkMs = 50;

std::shared_ptr<DialogResponder>& InstalledResponder() {
    static std::shared_ptr<DialogResponder> responder;
    return responder;
}

QMessageBox::Icon IconFor(int iconKind) {
    switch (iconKind) {
    case kInformationIcon:
    case kNoticeIcon:
        return QMessageBox::Information;
    case kWarningIcon:
        return QMessageBox::Warning;
    case kCriticalIcon:
        return QMessageBox::Critical;
    case kQuestionIcon:
        return QMessageBox::Question;
    default:
        return QMessageBox::NoIcon;
    }
}

QWidget* MainWindowWidget() {
    Workspace* workspace = Workspace::Instance().GetCurrentWorkspace();
    if (workspace == nullptr || workspace->GetMainWindow() == nullptr) {
        return nullptr;
    }
    return workspace->GetMainWindow()->GetWidget();
}

} // namespace

std::shared_ptr<DialogResponder> SetDialogResponder(std::shared_ptr<DialogResponder> responder) {
    std::swap(InstalledResponder(), responder);
    return responder;
}

int ScriptedDialogResponder::AnswerMessageBox(const MessageBoxRequest& request) {
    mRequests.push_back(request);
    if (mNext < mAnswers.size()) {
        return mAnswers[mNext++];
    }
    return -1;
}

std::shared_ptr<DialogResponder> CurrentDialogResponder() {
    return InstalledResponder();
}

std::vector<ByteString> ScriptedDialogResponder::AnswerOpenFiles(const ByteString& title,
                                                                 const ByteString&) {
    mFileDialogTitles.push_back(title);
    return mNextFileChoice < mFileChoices.size() ? mFileChoices[mNextFileChoice++]
                                                 : std::vector<ByteString>();
}

std::vector<WideString> ShowOpenFilesDialog(const ByteString& title, const ByteString& filter) {
    std::vector<WideString> chosen;
    if (const auto responder = InstalledResponder()) {
        for (const ByteString& file : responder->AnswerOpenFiles(title, filter)) {
            chosen.push_back(ToUTF16(file));
        }
        return chosen;
    }
    const QStringList files =
        QFileDialog::getOpenFileNames(MainWindowWidget(), QString::fromStdString(title), QString(),
                                      QString::fromStdString(filter));
    for (const QString& file : files) {
        chosen.push_back(ToUTF16(file.toStdString()));
    }
    return chosen;
}

ByteString ScriptedDialogResponder::AnswerContextMenu(const ContextMenuRequest& request) {
    mMenuRequests.push_back(request);
    return mNextMenuChoice < mMenuChoices.size() ? mMenuChoices[mNextMenuChoice++] : ByteString();
}

std::optional<ByteString>
ScriptedDialogResponder::AnswerTextInput(const TextInputRequest& request) {
    mTextRequests.push_back(request);
    if (mNextText < mTexts.size()) {
        return mTexts[mNextText++];
    }
    return std::nullopt;
}

std::optional<ByteString> AskForText(const ByteString& title, const ByteString& label,
                                     const ByteString& initialText) {
    const TextInputRequest request{title, label, initialText};
    if (const auto responder = InstalledResponder()) {
        return responder->AnswerTextInput(request);
    }
    bool accepted = false;
    const QString text = QInputDialog::getText(MainWindowWidget(), QString::fromStdString(title),
                                               QString::fromStdString(label), QLineEdit::Normal,
                                               QString::fromStdString(initialText), &accepted);
    if (!accepted) {
        return std::nullopt;
    }
    return text.toStdString();
}

bool ShowSimpleInputBox(const ByteString& title, const ByteString& label, ByteString& text) {
    const std::optional<ByteString> entered = AskForText(title, label, text);
    if (!entered) {
        return false;
    }
    text = *entered;
    return true;
}

int ShowMessageBox(const ByteString& title, const ByteString& text,
                   const std::vector<ByteString>& buttons, int iconKind, int defaultButton) {
    return ShowMessageBox(title, text, buttons, iconKind, defaultButton, {});
}

int ShowMessageBox(const ByteString& title, const ByteString& text,
                   const std::vector<ByteString>& buttons, int iconKind, int defaultButton,
                   const ByteString& details) {
    MessageBoxRequest request{title, text, buttons, iconKind, defaultButton, details};
    if (request.buttons.empty()) {
        request.buttons.push_back("OK");
    }
    // A warning tells what went wrong: what the file services could not do just before is
    // its cause, given below it rather than in a message of its own.
    if (iconKind == kWarningIcon || iconKind == kCriticalIcon) {
        for (const std::string& failure : files::TakeFailures()) {
            request.details += (request.details.empty() ? "" : "\n") + failure;
        }
    }
    if (const auto responder = InstalledResponder()) {
        return responder->AnswerMessageBox(request);
    }
    QMessageBox box(IconFor(iconKind), QString::fromStdString(title), QString::fromStdString(text),
                    QMessageBox::NoButton, MainWindowWidget());
    box.setWindowModality(Qt::ApplicationModal);
    // Messages name projects, holders and machines as read from disk: never markup.
    box.setTextFormat(Qt::PlainText);
    if (!request.details.empty()) {
        box.setDetailedText(QString::fromStdString(request.details));
    }
    std::vector<QAbstractButton*> added;
    for (const ByteString& label : request.buttons) {
        added.push_back(box.addButton(QString::fromStdString(label), QMessageBox::AcceptRole));
    }
    const std::size_t defaultIndex = static_cast<std::size_t>(std::max(0, defaultButton));
    if (defaultIndex < added.size()) {
        box.setDefaultButton(qobject_cast<QPushButton*>(added[defaultIndex]));
    }
    box.exec();
    for (std::size_t i = 0; i < added.size(); ++i) {
        if (box.clickedButton() == added[i]) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

void ShowFileFailures() {
    // Work the window turns for is not over: its failures are told together at its end, or
    // with the message it ends with.
    if (files::LongWorkUnderWay()) {
        QTimer::singleShot(kLookAgainAfterLongWorkMs, [] { ShowFileFailures(); });
        return;
    }
    const std::vector<std::string> failures = files::TakeFailures();
    if (failures.empty()) {
        return;
    }
    std::string text;
    for (std::size_t index = 0; index < failures.size() && index < kMostFailuresListed; ++index) {
        text += (text.empty() ? "" : "\n") + failures[index];
    }
    if (failures.size() > kMostFailuresListed) {
        text += "\n" + Localize("$$$/Marvane/Host/NotDone/More=... and @0 more.",
                                {std::to_string(failures.size() - kMostFailuresListed)});
    }
    ShowMessageBox(Localize("$$$/Marvane/Host/NotDone/Title=Not Everything Was Done"), text, {},
                   kWarningIcon, 0);
}

void ShowFileFailuresInTheWindow(bool show) {
    if (!show) {
        files::SetFailureListener({});
        return;
    }
    // Noted on any thread, shown on the main one once the work that noted them is over.
    files::SetFailureListener([] {
        if (QCoreApplication* application = QCoreApplication::instance()) {
            QMetaObject::invokeMethod(
                application, [] { ShowFileFailures(); }, Qt::QueuedConnection);
        }
    });
}

namespace {

// The documents layer asks and tells the person through the message box.
[[maybe_unused]] const bool gPersonQuestionInstalled = [] {
    SetPersonQuestion(&AskWithMessageBox);
    SetPersonTextQuestion(&AskForText);
    return true;
}();

} // namespace

int AskWithMessageBox(const ByteString& title, const ByteString& text,
                      const std::vector<ByteString>& buttons, Telling kind, int defaultButton) {
    const int icon = kind == Telling::kQuestion  ? kQuestionIcon
                     : kind == Telling::kWarning ? kWarningIcon
                                                 : kCriticalIcon;
    return ShowMessageBox(title, text, buttons, icon, defaultButton);
}

} // namespace host
