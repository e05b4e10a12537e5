// The least that a program of this toolkit can be: an application object that quits at once.

#include <QApplication>
#include <QTimer>

int main(int argc, char** argv) {
    const QApplication application(argc, argv);
    QTimer::singleShot(0, &application, &QCoreApplication::quit);
    return QApplication::exec();
}
