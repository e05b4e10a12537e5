#pragma once

#include <QApplication>

/// The application object of a program that runs once per user and home folder.
/// Its constructor takes an exclusive lock on "launcher-<uid>.lock" in the home's ".AldaneTessel"
/// folder and holds it until the object, or the process, ends: the kernel gives it back however the
/// holder dies, and programs started by this one do not inherit it.
class QtSingleApplication : public QApplication {
    Q_OBJECT

public:
    /// \param argc, argv the command line; both must outlive the object.
    /// \param GUIenabled ignored: there always is a user interface; kept for its callers.
    QtSingleApplication(int& argc, char** argv, bool GUIenabled = true);
    ~QtSingleApplication() override;

    /// True when another process of this user already held the lock. Where no lock can be had at
    /// all (read-only or full disk, something else in the file's place), false: the program runs.
    bool isRunning() const { return m_isRunning; }

private:
    void takeLock();

    int m_lock = -1; // owned descriptor of the lock file; -1 without a lock
    bool m_isRunning = false;
};
