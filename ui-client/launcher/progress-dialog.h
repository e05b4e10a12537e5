#pragma once

#include <QProgressDialog>

/// The only window of the launcher: a window-modal progress dialog of fixed width, in per cent.
/// It appears and goes by show() and hide() alone: neither the toolkit, after some seconds, nor the
/// user, by Esc or the window manager, changes that. Owned by the Launcher; GUI thread only.
/// Build it after the string table and the path registry are filled.
class ProcessingProgressDialog : public QProgressDialog {
    Q_OBJECT

public:
    ProcessingProgressDialog();

    void setVisible(bool visible) override;
    /// Does nothing: Esc must not end what cannot be taken back.
    void reject() override;

protected:
    /// Refuses, and tells nobody that it was asked: the base class would cancel and reset.
    void closeEvent(QCloseEvent* event) override;

private:
    void forgoSpontaneousShow();
};

/// Makes the dialog's font family the application's. The base class lays the dialog out before it
/// has its own font, and would load the desktop's for that alone: a tenth of a start's work. The
/// dialog looks the same without it. Call it before the dialog is built.
void adoptDialogFontFamily();
