#include "libui/QtSingleApplication.h"

#include "libui/LauncherLock.h"

#include <QDir>

#include <unistd.h>

QtSingleApplication::QtSingleApplication(int& argc, char** argv, bool /*GUIenabled*/)
    : QApplication(argc, argv) {
    takeLock();
}

QtSingleApplication::~QtSingleApplication() {
    if (m_lock != -1) {
        close(m_lock); // the file stays: to remove it would part those who open it meanwhile
    }
}

void QtSingleApplication::takeLock() {
    const LauncherLock lock = takeLauncherLock(QDir::homePath());
    m_lock = lock.file;
    m_isRunning = lock.isElsewhere;
}
