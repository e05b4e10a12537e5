#pragma once

#include <QProcess>
#include <QString>

#include <memory>

struct _XDisplay;

/// An X server of the test's own, and a watcher that misses no window on it.
class VirtualDisplay {
public:
    enum Manager { NoManager, WithManager };

    /// \param dotsPerInch of the one screen; 96 is the standard density.
    /// \param manager with a window manager; without, a program's windows lie on the root.
    explicit VirtualDisplay(int dotsPerInch = 96, Manager manager = NoManager);
    ~VirtualDisplay();
    VirtualDisplay(const VirtualDisplay&) = delete;
    VirtualDisplay& operator=(const VirtualDisplay&) = delete;

    /// What goes into DISPLAY.
    QString name() const { return m_name; }

    /// How often windows on the root were put on the screen until now. With a manager these are
    /// also its own frames.
    int mapCount();

    /// The window with this title; 0 where there is none on the screen.
    unsigned long window(const QString& title) const;
    bool isOnScreen(unsigned long window) const;
    int widthOf(unsigned long window) const;

    /// Asks a window to close, as a window manager does.
    void requestClose(unsigned long window);
    /// Presses a key, or several together, such as "alt+F4".
    void pressKey(unsigned long window, const QString& keys) const;
    /// The whole screen, as a PNG file.
    void takePicture(const QString& path) const;

private:
    void startServer(int dotsPerInch);
    void startManager();
    void run(const QString& program, const QStringList& arguments) const;

    QString m_name;
    QProcess m_server;
    QProcess m_manager;
    _XDisplay* m_connection = nullptr;
    int m_mapCount = 0;
};
