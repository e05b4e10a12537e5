#include "ui-client/launcher/progress-dialog.h"

#include "libui/DPIinfo.h"
#include "libui/UIPathManager.h"
#include "ui-client/launcher/frame-pace.h"
#include "ui-client/launcher/texts/strtab.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFont>
#include <QIcon>

namespace {

constexpr int standardWidth = 400; // pixels at the standard density
constexpr char fontFamily[] = "Arial";

} // namespace

ProcessingProgressDialog::ProcessingProgressDialog() : QProgressDialog(nullptr, Qt::WindowFlags()) {
    const QFont font(fontFamily, -1, -1, false);
    setWindowTitle(StrTable::LoadStr(StrTable::app_name_tessel));
    setWindowIcon(QIcon(UIPathManager::getInstance()->getPath("root_resource_path") +
                        "/images/ico_72_skylark.png"));
    setWindowFlags(Qt::WindowTitleHint | Qt::WindowSystemMenuHint);
    setValue(0);
    setRange(0, 100);
    setLabelText(StrTable::LoadStr(StrTable::desc_sklk_env_preparing_tessel)
                     .arg(StrTable::LoadStr(StrTable::app_name_tessel), 0, QLatin1Char(' ')));
    setFont(font);
    setModal(true);
    setWindowModality(Qt::WindowModal); // the last word: setModal alone means application-modal
    setFixedWidth(static_cast<int>(standardWidth * DPIinfo::getInstance()->getDPI()));
    setStyleSheet(DPIinfo::getInstance()->getScaledStyleSheet(
        "QProgressDialog { background-color: WhiteSmoke; vertical-align: middle; }"));
    // Nothing that the user does may hide the dialog and start its value again.
    disconnect(this, SIGNAL(canceled()), this, SLOT(cancel()));
    forgoSpontaneousShow();
    new FramePace(findChild<QProgressBar*>());
}

void ProcessingProgressDialog::setVisible(bool visible) {
    if (!testAttribute(Qt::WA_DontShowOnScreen)) {
        QProgressDialog::setVisible(visible);
    }
}

void ProcessingProgressDialog::reject() {}

void ProcessingProgressDialog::closeEvent(QCloseEvent* event) {
    event->ignore();
}

// The base class shows itself some seconds after setValue(0), by a timer or within setValue, also
// where nothing has to be done. It does so once: here, and setVisible keeps it off the screen.
void ProcessingProgressDialog::forgoSpontaneousShow() {
    setAttribute(Qt::WA_DontShowOnScreen, true);
    forceShow();
    setAttribute(Qt::WA_DontShowOnScreen, false);
}

void adoptDialogFontFamily() {
    QFont font = QApplication::font();
    font.setFamily(fontFamily);
    QApplication::setFont(font);
}
