#include "libui/QtSingleApplication.h"
#include "tests/support/child.h"
#include "tests/support/files.h"
#include "tests/support/home-fixture.h"

#include <QDir>
#include <QProcess>
#include <QtTest>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <functional>
#include <memory>
#include <vector>

namespace {

constexpr int primary = 0;
constexpr int second = 1;

/// An application object as `main` makes it.
std::unique_ptr<QtSingleApplication> makeApplication() {
    static char name[] = "launcher";
    static char* arguments[] = {name, nullptr};
    static int count = 1;
    return std::make_unique<QtSingleApplication>(count, arguments, true);
}

/// Starts, looks and ends: what a start finds now.
int look() {
    return makeApplication()->isRunning() ? second : primary;
}

int lookFromChild() {
    return inChild(look);
}

class Pipe {
public:
    Pipe() {
        if (pipe2(m_ends, O_CLOEXEC) != 0) {
            qFatal("no pipe");
        }
    }
    ~Pipe() {
        closeReader();
        closeWriter();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    void send(int value) const {
        const ssize_t size = write(m_ends[1], &value, sizeof value);
        Q_UNUSED(size) // whoever waits for it notices
    }
    /// The next value sent; -1 at the end of all writers.
    int receive() const {
        int value = 0;
        return read(m_ends[0], &value, sizeof value) == sizeof value ? value : -1;
    }
    void closeReader() { closeEnd(m_ends[0]); }
    void closeWriter() { closeEnd(m_ends[1]); }

private:
    static void closeEnd(int& end) {
        if (end != -1) {
            close(end);
            end = -1;
        }
    }
    int m_ends[2] = {-1, -1};
};

/// A process that holds an application object until it is released or killed.
class Holder {
public:
    /// \param extra runs beside the application object; its value is `extra()`.
    explicit Holder(const std::function<int()>& extra = [] { return 0; }) {
        m_pid = fork();
        if (m_pid == 0) {
            hold(extra);
        }
        m_report.closeWriter();
        m_role = m_report.receive();
        m_extra = m_report.receive();
    }
    ~Holder() { end(); }
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;

    int role() const { return m_role; }
    int extra() const { return m_extra; }
    /// Lets it end in the ordinary way.
    void end() {
        m_release.closeWriter();
        join();
    }
    void kill() {
        ::kill(m_pid, SIGKILL);
        join();
    }

private:
    [[noreturn]] void hold(const std::function<int()>& extra) {
        m_release.closeWriter();
        {
            const auto application = makeApplication();
            m_report.send(application->isRunning() ? second : primary);
            m_report.send(extra());
            m_release.receive();
        }
        _exit(0);
    }
    void join() {
        if (m_pid > 0) {
            waitpid(m_pid, nullptr, 0);
            m_pid = -1;
        }
    }

    Pipe m_report;
    Pipe m_release;
    pid_t m_pid = -1;
    int m_role = -1;
    int m_extra = -1;
};

} // namespace

class QtSingleApplicationTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<HomeFixture> m_home;

    QString lockPath() const {
        return m_home->path(".AldaneTessel/launcher-" + QString::number(getuid()) + ".lock");
    }
    void makeHomeForEveryUser() const {
        writeFile(m_home->path(".AldaneTessel/file"), "");
        chmod(QFile::encodeName(m_home->path()).constData(), 0777);
        chmod(QFile::encodeName(m_home->path(".AldaneTessel")).constData(), 0777);
    }

private slots:
    void init() { m_home = std::make_unique<HomeFixture>(); }
    void cleanup() { m_home.reset(); }

    void firstStartIsPrimaryAndMakesTheFolder() {
        QCOMPARE(lookFromChild(), primary);
        QVERIFY(QFileInfo(lockPath()).isFile());
    }

    void startBesideAHolderIsSecondAndDisturbsNothing() {
        const Holder holder;
        QCOMPARE(holder.role(), primary);
        QCOMPARE(lookFromChild(), second);
        QCOMPARE(lookFromChild(), second);
    }

    void ordinaryEndFreesTheNext() {
        Holder holder;
        QCOMPARE(holder.role(), primary);
        holder.end();
        QCOMPARE(lookFromChild(), primary);
    }

    void endOfASecondFreesNothing() {
        const Holder holder;
        Holder other;
        QCOMPARE(other.role(), second);
        other.end();
        QCOMPARE(lookFromChild(), second);
    }

    void killedHolderFreesTheNext() {
        Holder holder;
        QCOMPARE(holder.role(), primary);
        holder.kill();
        QCOMPARE(lookFromChild(), primary);
    }

    void destroyedObjectFreesTheNextWhileItsProcessLives() {
        QCOMPARE(inChild([] {
                     makeApplication();
                     return lookFromChild();
                 }),
                 primary);
    }

    void hundredStartsAtOnceGiveOnePrimary() {
        constexpr int starts = 100;
        Pipe gate;
        Pipe report;
        Pipe release;
        std::vector<pid_t> children;
        for (int i = 0; i < starts; ++i) {
            children.push_back(fork());
            if (children.back() == 0) {
                gate.closeWriter();
                release.closeWriter();
                gate.receive();
                const auto application = makeApplication();
                report.send(application->isRunning() ? second : primary);
                release.receive();
                _exit(0);
            }
        }
        gate.closeWriter();
        report.closeWriter();
        int answers[2] = {0, 0};
        for (int i = 0; i < starts; ++i) {
            const int role = report.receive();
            QVERIFY(role == primary || role == second);
            ++answers[role];
        }
        release.closeWriter();
        for (const pid_t child : children) {
            waitpid(child, nullptr, 0);
        }
        QCOMPARE(answers[primary], 1);
        QCOMPARE(answers[second], starts - 1);
    }

    void childThatLivesOnDoesNotKeepTheLock() {
        Holder holder([] {
            qint64 pid = -1;
            QProcess::startDetached("sleep", {"1000"}, "/", &pid);
            return static_cast<int>(pid);
        });
        QCOMPARE(holder.role(), primary);
        QVERIFY(holder.extra() > 0);
        holder.kill();
        const int role = lookFromChild();
        QCOMPARE(::kill(holder.extra(), SIGKILL), 0); // it was alive
        QCOMPARE(role, primary);
    }

    void otherEnvironmentSeesTheHolder() {
        const Holder holder;
        QCOMPARE(inChild([] {
                     for (const char* name : {"XDG_RUNTIME_DIR", "TMPDIR", "XDG_CONFIG_HOME"}) {
                         qputenv(name, "/nonexistent");
                     }
                     for (const char* name :
                          {"DISPLAY", "WAYLAND_DISPLAY", "XDG_SESSION_ID", "LANG",
                           "DBUS_SESSION_BUS_ADDRESS", "USER", "LOGNAME"}) {
                         qunsetenv(name);
                     }
                     return look();
                 }),
                 second);
    }

    void homeSpelledOtherwiseSeesTheHolder_data() {
        QTest::addColumn<QString>("spelling");
        QTest::newRow("slash at the end") << "%1/";
        QTest::newRow("dots") << "%1/./x/..";
        QTest::newRow("two slashes") << "/%1";
        QTest::newRow("link") << "%1/link";
    }

    void homeSpelledOtherwiseSeesTheHolder() {
        QFETCH(QString, spelling);
        QVERIFY(QDir(m_home->path()).mkdir("x"));
        QVERIFY(QFile::link(m_home->path(), m_home->path("link")));
        const Holder holder;
        QCOMPARE(holder.role(), primary);
        qputenv("HOME", QFile::encodeName(spelling.arg(m_home->path())));
        QCOMPARE(lookFromChild(), second);
    }

    void otherHomeSeesNobody() {
        const Holder holder;
        const HomeFixture other;
        QCOMPARE(lookFromChild(), primary);
    }

    void otherUserWithTheSameHomeIsNotBlocked() {
        if (getuid() != 0) {
            QSKIP("needs root to become another user");
        }
        makeHomeForEveryUser();
        const Holder holder;
        QCOMPARE(holder.role(), primary);
        QCOMPARE(asOrdinaryUser(look), primary);
        QVERIFY(QFileInfo::exists(m_home->path(".AldaneTessel/launcher-65534.lock")));
    }

    void otherUserCannotOpenTheLockFile() {
        if (getuid() != 0) {
            QSKIP("needs root to become another user");
        }
        makeHomeForEveryUser();
        QCOMPARE(inChild([] {
                     umask(0);
                     return look();
                 }),
                 primary);
        const QByteArray path = QFile::encodeName(lockPath());
        QCOMPARE(asOrdinaryUser([&path] {
                     return open(path.constData(), O_RDONLY) == -1 && errno == EACCES ? 0 : 1;
                 }),
                 0);
    }

    void fileOfAnotherUserBlocksNobody() {
        if (getuid() != 0) {
            QSKIP("needs root to make a file of another user");
        }
        const QByteArray path = QFile::encodeName(lockPath());
        writeFile(lockPath(), "", 0666);
        QCOMPARE(chown(path.constData(), 65534, 65534), 0);
        const int file = open(path.constData(), O_RDWR | O_CLOEXEC);
        QCOMPARE(flock(file, LOCK_EX), 0);
        QCOMPARE(lookFromChild(), primary);
        close(file);
    }

    void lockFileIsForItsOwnerAloneWhateverTheUmask_data() {
        QTest::addColumn<int>("mask");
        QTest::newRow("open to all") << 0;
        QTest::newRow("closed to all") << 0777;
    }

    void lockFileIsForItsOwnerAloneWhateverTheUmask() {
        QFETCH(int, mask);
        QVERIFY(QDir(m_home->path()).mkdir(".AldaneTessel"));
        QCOMPARE(inChild([mask] {
                     umask(static_cast<mode_t>(mask));
                     return look();
                 }),
                 primary);
        struct stat status {};
        QCOMPARE(stat(QFile::encodeName(lockPath()).constData(), &status), 0);
        QCOMPARE(status.st_mode & 07777U, 0600U);
    }

    void lockFileStaysForTheNext() {
        Holder holder;
        struct stat before {};
        QCOMPARE(stat(QFile::encodeName(lockPath()).constData(), &before), 0);
        holder.end();
        QCOMPARE(lookFromChild(), primary);
        struct stat after {};
        QCOMPARE(stat(QFile::encodeName(lockPath()).constData(), &after), 0);
        QCOMPARE(after.st_ino, before.st_ino);
    }

    void withoutALockTheProgramRuns_data() {
        QTest::addColumn<QString>("obstacle");
        QTest::newRow("folder is a file") << "file";
        QTest::newRow("lock file is a folder") << "folder";
        QTest::newRow("lock file is a link") << "link";
        QTest::newRow("lock file is a broken link") << "broken";
        QTest::newRow("lock file is a fifo") << "fifo";
    }

    void withoutALockTheProgramRuns() {
        QFETCH(QString, obstacle);
        const QByteArray path = QFile::encodeName(lockPath());
        if (obstacle == "file") {
            writeFile(m_home->path(".AldaneTessel"), "");
        } else if (obstacle == "folder") {
            QVERIFY(QDir().mkpath(lockPath()));
        } else {
            writeFile(m_home->path(".AldaneTessel/real"), "");
            QCOMPARE(obstacle == "fifo"   ? mkfifo(path.constData(), 0600)
                     : obstacle == "link" ? symlink("real", path.constData())
                                          : symlink("none", path.constData()),
                     0);
        }
        const Holder holder;
        QCOMPARE(holder.role(), primary);
        QCOMPARE(lookFromChild(), primary);
        QVERIFY(!QFileInfo::exists(m_home->path(".AldaneTessel/none")));
    }

    void inAReadOnlyHomeTheProgramRuns() {
        chmod(QFile::encodeName(m_home->path()).constData(), 0555);
        QCOMPARE(asOrdinaryUser(look), primary);
        QCOMPARE(listTree(m_home->path()), QStringList());
    }

    void guiFlagChangesNothing() {
        QCOMPARE(inChild([] {
                     char name[] = "launcher";
                     char* arguments[] = {name, nullptr};
                     int count = 1;
                     const QtSingleApplication application(count, arguments, false);
                     return qobject_cast<QApplication*>(qApp) != nullptr &&
                                    QGuiApplication::primaryScreen() != nullptr &&
                                    !application.isRunning()
                                ? 0
                                : 1;
                 }),
                 0);
    }

    void commandLineReachesTheToolkit() {
        QCOMPARE(
            inChild([] {
                char name[] = "launcher";
                char style[] = "-style";
                char fusion[] = "fusion";
                char word[] = "word";
                char* arguments[] = {name, style, fusion, word, nullptr};
                int count = 4;
                const QtSingleApplication application(count, arguments);
                return QCoreApplication::arguments() == QStringList{"launcher", "word"} ? 0 : 1;
            }),
            0);
    }
};

QTEST_APPLESS_MAIN(QtSingleApplicationTest)
#include "QtSingleApplication_test.moc"
