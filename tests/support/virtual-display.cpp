#include "tests/support/virtual-display.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QStringList>

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr int patience = 20000; // milliseconds

[[noreturn]] void fail(const QString& what) {
    throw std::runtime_error(what.toStdString());
}

/// A window that goes while it is asked is nothing to end the test for.
int ignoreErrors(Display*, XErrorEvent*) {
    return 0;
}

/// The children of a window, bottom first.
std::vector<Window> childrenOf(Display* connection, Window parent) {
    Window root = 0;
    Window above = 0;
    Window* children = nullptr;
    unsigned count = 0;
    if (XQueryTree(connection, parent, &root, &above, &children, &count) == 0) {
        return {};
    }
    std::vector<Window> result(children, children + count);
    if (children != nullptr) {
        XFree(children);
    }
    return result;
}

QByteArray propertyOf(Display* connection, Window window, const char* property) {
    Atom type = 0;
    int format = 0;
    unsigned long count = 0;
    unsigned long left = 0;
    unsigned char* data = nullptr;
    if (XGetWindowProperty(connection, window, XInternAtom(connection, property, False), 0, 1024,
                           False, AnyPropertyType, &type, &format, &count, &left, &data) != 0 ||
        data == nullptr) {
        return {};
    }
    const QByteArray text(reinterpret_cast<const char*>(data), format == 8 ? int(count) : 0);
    XFree(data);
    return text;
}

bool isViewable(Display* connection, Window window) {
    XWindowAttributes attributes = {};
    return XGetWindowAttributes(connection, window, &attributes) != 0 &&
           attributes.map_state == IsViewable;
}

/// Depth first; a manager's frame carries the title of what it frames, but not in this property.
Window find(Display* connection, Window parent, const QByteArray& title) {
    for (const Window child : childrenOf(connection, parent)) {
        if (isViewable(connection, child) &&
            propertyOf(connection, child, "_NET_WM_NAME") == title) {
            return child;
        }
        if (const Window deeper = find(connection, child, title)) {
            return deeper;
        }
    }
    return 0;
}

} // namespace

VirtualDisplay::VirtualDisplay(int dotsPerInch, Manager manager) {
    startServer(dotsPerInch);
    XSetErrorHandler(ignoreErrors);
    m_connection = XOpenDisplay(m_name.toLocal8Bit().constData());
    if (m_connection == nullptr) {
        fail("no connection to " + m_name);
    }
    if (manager == WithManager) {
        startManager();
    }
    XSelectInput(m_connection, DefaultRootWindow(m_connection), SubstructureNotifyMask);
    XSync(m_connection, False);
}

VirtualDisplay::~VirtualDisplay() {
    if (m_connection != nullptr) {
        XCloseDisplay(m_connection);
    }
    for (QProcess* process : {&m_manager, &m_server}) {
        process->terminate();
        if (process->state() != QProcess::NotRunning && !process->waitForFinished(patience)) {
            process->kill();
            process->waitForFinished();
        }
    }
}

void VirtualDisplay::startServer(int dotsPerInch) {
    // Ten by five inches: whole millimetres, in which the server tells its size and so its density.
    const QString size = QString("%1x%2x24").arg(10 * dotsPerInch).arg(5 * dotsPerInch);
    // The server takes the first free number and tells it.
    m_server.start("Xvfb", {"-displayfd", "1", "-screen", "0", size, "-dpi",
                            QString::number(dotsPerInch), "-nolisten", "tcp", "-noreset"});
    while (!m_server.canReadLine()) {
        if (!m_server.waitForReadyRead(patience)) {
            fail("Xvfb does not start: " + m_server.errorString());
        }
    }
    m_name = ':' + QString::fromLatin1(m_server.readLine()).trimmed();
}

void VirtualDisplay::startManager() {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("DISPLAY", m_name);
    m_manager.setProcessEnvironment(environment);
    m_manager.start("openbox", {"--sm-disable"});
    const Window root = DefaultRootWindow(m_connection);
    QElapsedTimer waited;
    waited.start();
    while (propertyOf(m_connection, root, "_NET_SUPPORTED").isNull()) {
        if (waited.elapsed() > patience || m_manager.waitForFinished(20)) {
            fail("openbox does not start: " + m_manager.errorString());
        }
    }
}

int VirtualDisplay::mapCount() {
    XSync(m_connection, False);
    while (XPending(m_connection) > 0) {
        XEvent event;
        XNextEvent(m_connection, &event);
        m_mapCount += event.type == MapNotify ? 1 : 0;
    }
    return m_mapCount;
}

unsigned long VirtualDisplay::window(const QString& title) const {
    return find(m_connection, DefaultRootWindow(m_connection), title.toUtf8());
}

bool VirtualDisplay::isOnScreen(unsigned long window) const {
    return isViewable(m_connection, window);
}

int VirtualDisplay::widthOf(unsigned long window) const {
    XWindowAttributes attributes = {};
    return XGetWindowAttributes(m_connection, window, &attributes) != 0 ? attributes.width : 0;
}

void VirtualDisplay::requestClose(unsigned long window) {
    XEvent event = {};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = XInternAtom(m_connection, "WM_PROTOCOLS", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] =
        static_cast<long>(XInternAtom(m_connection, "WM_DELETE_WINDOW", False));
    XSendEvent(m_connection, window, False, NoEventMask, &event);
    XSync(m_connection, False);
}

void VirtualDisplay::pressKey(unsigned long window, const QString& keys) const {
    // Without a manager nobody gives the window the keyboard.
    XSetInputFocus(m_connection, window, RevertToPointerRoot, CurrentTime);
    XSync(m_connection, False);
    run("xdotool", {"key", "--clearmodifiers", keys});
}

void VirtualDisplay::takePicture(const QString& path) const {
    run("import", {"-window", "root", path});
}

void VirtualDisplay::run(const QString& program, const QStringList& arguments) const {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("DISPLAY", m_name);
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    if (!process.waitForFinished(patience) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0) {
        fail(program + ": " + process.errorString() + ' ' + process.readAllStandardError());
    }
}
