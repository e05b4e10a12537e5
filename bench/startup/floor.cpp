// What the toolkit alone costs for the launcher's work when nothing is to be done: the same hidden
// dialog, the same script, and an end. Its plug-ins come from the launcher's folder.
//
//   floor PLUGINS ICON SCRIPT

#include <QApplication>
#include <QFont>
#include <QIcon>
#include <QProcess>
#include <QProgressDialog>
#include <QTimer>

namespace {

void build(QProgressDialog& dialog, const QString& icon) {
    dialog.setWindowTitle("Tessel");
    dialog.setWindowIcon(QIcon(icon));
    dialog.setWindowFlags(Qt::WindowTitleHint | Qt::WindowSystemMenuHint);
    dialog.setValue(0);
    dialog.setRange(0, 100);
    dialog.setLabelText("Tessel is initializing...");
    dialog.setFont(QFont("Arial"));
    dialog.setModal(true);
    dialog.setWindowModality(Qt::WindowModal);
    dialog.setFixedWidth(400);
    dialog.setStyleSheet(
        "QProgressDialog { background-color: WhiteSmoke; vertical-align: middle; }");
    dialog.setCancelButton(nullptr);
    dialog.setAutoReset(false);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        return 2;
    }
    QCoreApplication::setLibraryPaths({QString::fromLocal8Bit(argv[1])});
    const QApplication application(argc, argv);
    QProgressDialog dialog;
    build(dialog, QString::fromLocal8Bit(argv[2]));
    const QString script = QString::fromLocal8Bit(argv[3]);
    QTimer::singleShot(0, &application, [&script] {
        QProcess::execute(script, {"start"});
        QCoreApplication::quit();
    });
    return QApplication::exec();
}
