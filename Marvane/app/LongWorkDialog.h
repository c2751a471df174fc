#pragma once
// The window's side of long work (fileservices/LongWork.h): while a copy or a move to another
// disk runs, the window keeps being drawn; once the work has run for a moment a modal dialog
// shows what is done, how far it got, and a Cancel button. Until the dialog shows, the
// person's input waits; directory watches wait for the work too.
#include "Marvane/fileservices/LongWork.h"

#include <QElapsedTimer>
#include <QPointer>
#include <QProgressDialog>
#include <QWidget>
#include <memory>
#include <vector>

namespace host {

class LongWorkDialog final : public files::LongWorkView {
public:
    explicit LongWorkDialog(QWidget* parent);
    ~LongWorkDialog() override;
    LongWorkDialog(const LongWorkDialog&) = delete;
    LongWorkDialog& operator=(const LongWorkDialog&) = delete;

    void Begin(files::LongWork& work) override;
    void Turn(files::LongWork& work, std::chrono::milliseconds slice) override;
    void End(files::LongWork& work) override;

    // The dialog while shown (tests click its Cancel), else null.
    QProgressDialog* Dialog() const { return mDialog; }

    // Work that runs longer than this shows how far it got: soon enough that a person never
    // wonders whether the window still answers.
    static constexpr int kAppearAfterMs = 100;

private:
    void Show(const files::LongWork& work);
    void Update(const files::LongWork& work);

    QPointer<QWidget> mParent;
    QPointer<QProgressDialog> mDialog;
    QElapsedTimer mSince;
    std::vector<files::LongWork*> mWorks; // begun and not ended, the outermost first
};

} // namespace host
