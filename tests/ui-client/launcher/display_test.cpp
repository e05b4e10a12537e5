#include "tests/support/files.h"
#include "tests/support/installed-tree.h"
#include "tests/support/virtual-display.h"

#include <QProcess>
#include <QtTest>

#include <memory>

namespace {

/// start-stop that tells that it ran, and goes on until the file "end" is there.
const QByteArray tellAndWait =
    R"(echo "$1" >>"$HOME/started"; while [ -d "$HOME" ] && [ ! -e "$HOME/end" ]; do sleep 0.02; done)";

/// The program on a display.
class Program : public QProcess {
public:
    Program(const InstalledTree& tree, const VirtualDisplay& display,
            const QString& locale = "C.UTF-8") {
        QProcessEnvironment environment = tree.environment();
        environment.insert("DISPLAY", display.name());
        environment.insert("QT_QPA_PLATFORM", "xcb");
        environment.insert("LC_ALL", locale);
        environment.insert("LANGUAGE", QString());
#ifdef __SANITIZE_ADDRESS__
        // The drivers behind it leak, and are unloaded before they could be told by name.
        environment.insert("QT_XCB_GL_INTEGRATION", "none");
#endif
        setProcessEnvironment(environment);
        start(tree.launcher(), QStringList());
    }
    ~Program() override {
        kill();
        waitForFinished();
    }
    /// Its exit status; -1 where a signal ended it.
    int status() {
        waitForFinished(60000); // answers false where it has ended before
        if (exitCode() != 0) {
            qWarning("%s", readAllStandardError().constData());
        }
        return state() == NotRunning && exitStatus() == NormalExit ? exitCode() : -1;
    }
};

/// A running client of the user's copy that does not obey: until the file "go" is in the home, but
/// not for longer than the launcher's patience of five seconds, the upgrade waits for it.
class StubbornClient : public QProcess {
public:
    explicit StubbornClient(const InstalledTree& tree) {
        setProcessEnvironment(tree.environment());
        start(
            "bash",
            {"-c",
             R"(trap '' TERM; while [ -d "$HOME" ] && [ ! -e "$HOME/go" ]; do sleep 0.02; done)"});
        waitForStarted();
        writeFile(tree.home(".AldaneTessel/ui.pid"), "pid=" + QByteArray::number(processId()));
    }
    ~StubbornClient() override {
        kill();
        waitForFinished();
    }
};

} // namespace

/// The program on a real display server.
class DisplayTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<InstalledTree> m_tree;

    void allow(const QString& step) const { writeFile(m_tree->home(step), ""); }
    bool isStarted() const { return QFile::exists(m_tree->home("started")); }

private slots:
    void init() { m_tree = std::make_unique<InstalledTree>(); }
    void cleanup() { m_tree.reset(); }

    void nothingToDoNeverPutsAWindowOnTheScreen() {
        VirtualDisplay display;
        m_tree->pack(5, "exit 1");
        // Longer than the four seconds after which the toolkit shows such a dialog by itself.
        m_tree->installCopy(5, "sleep 6; touch \"$HOME/started\"");
        Program program(*m_tree, display);
        QCOMPARE(program.status(), 0);
        QVERIFY(isStarted());
        QCOMPARE(display.mapCount(), 0);
    }

    void upgradePutsTheDialogOnTheScreenOnce() {
        VirtualDisplay display;
        m_tree->pack(5, tellAndWait);
        allow("end");
        Program program(*m_tree, display);
        QCOMPARE(program.status(), 0);
        QVERIFY(isStarted());
        QCOMPARE(display.mapCount(), 1);
    }

    void dialogStaysToTheEndWhateverTheUserDoes_data() {
        QTest::addColumn<int>("manager");
        QTest::addColumn<QString>("deed");
        const int alone = VirtualDisplay::NoManager;
        const int managed = VirtualDisplay::WithManager;
        QTest::newRow("nothing") << alone << QString();
        QTest::newRow("escape") << alone << "Escape";
        QTest::newRow("close request") << alone << "close";
        QTest::newRow("escape under a window manager") << managed << "Escape";
        QTest::newRow("close request under a window manager") << managed << "close";
        QTest::newRow("Alt-F4 under a window manager") << managed << "alt+F4";
    }

    void dialogStaysToTheEndWhateverTheUserDoes() {
        QFETCH(int, manager);
        QFETCH(QString, deed);
        VirtualDisplay display(96, static_cast<VirtualDisplay::Manager>(manager));
        m_tree->installCopy(4, "exit 1");
        m_tree->pack(5, tellAndWait);
        const StubbornClient client(*m_tree);
        Program program(*m_tree, display);
        QTRY_VERIFY_WITH_TIMEOUT(display.window("Tessel") != 0, 20000);
        const unsigned long window = display.window("Tessel");

        // While the old client is being stopped, and once more while the new one is being started.
        doDeed(display, window, deed);
        QVERIFY(display.isOnScreen(window));
        QCOMPARE(program.state(), QProcess::Running);
        allow("go");
        QTRY_VERIFY_WITH_TIMEOUT(isStarted(), 20000);
        QVERIFY(display.isOnScreen(window));
        doDeed(display, window, deed);
        QVERIFY(display.isOnScreen(window));
        QCOMPARE(program.state(), QProcess::Running);

        allow("end");
        QCOMPARE(program.status(), 0);
        QVERIFY(!display.isOnScreen(window));
        QVERIFY(readFile(m_tree->app("INFO")).contains("build_version=5"));
        QVERIFY(QFile::exists(m_tree->app("share/99")));
    }

    void dialogHasItsWidthAtEachScaleInEachLanguage_data() {
        QTest::addColumn<int>("dotsPerInch");
        QTest::addColumn<QString>("locale");
        QTest::addColumn<int>("width");
        for (const char* locale :
             {"en_US.UTF-8", "ja_JP.UTF-8", "ru_RU.UTF-8", "hu_HU.UTF-8", "pt_BR.UTF-8"}) {
            for (const int dotsPerInch : {96, 120, 144, 192}) {
                QTest::addRow("%s %d", locale, dotsPerInch)
                    << dotsPerInch << locale << 400 * dotsPerInch / 96;
            }
        }
    }

    /// Leaves pictures of each in the folder that TESSEL_PICTURES names, for people to look at.
    void dialogHasItsWidthAtEachScaleInEachLanguage() {
        QFETCH(int, dotsPerInch);
        QFETCH(QString, locale);
        QFETCH(int, width);
        VirtualDisplay display(dotsPerInch, VirtualDisplay::WithManager);
        m_tree->installCopy(4, "exit 1");
        m_tree->pack(5, tellAndWait);
        std::unique_ptr<StubbornClient> client;
        if (!pictures().isEmpty()) {
            client = std::make_unique<StubbornClient>(*m_tree);
        }
        Program program(*m_tree, display, locale);
        QTRY_VERIFY_WITH_TIMEOUT(display.window("Tessel") != 0, 20000);
        QCOMPARE(display.widthOf(display.window("Tessel")), width);
        takePictureIfAsked(display, "initializing");
        allow("go");
        QTRY_VERIFY_WITH_TIMEOUT(isStarted(), 20000);
        takePictureIfAsked(display, "ready");
        allow("end");
        QCOMPARE(program.status(), 0);
    }

private:
    static void doDeed(VirtualDisplay& display, unsigned long window, const QString& deed) {
        if (deed == "close") {
            display.requestClose(window);
        } else if (!deed.isEmpty()) {
            display.pressKey(window, deed);
        }
        QTest::qWait(300); // for what must not happen
    }

    static QString pictures() { return qEnvironmentVariable("TESSEL_PICTURES"); }
    static void takePictureIfAsked(const VirtualDisplay& display, const char* step) {
        if (!pictures().isEmpty()) {
            QTest::qWait(300); // the last repaint
            const QString name = QString("%1-%2.png").arg(QTest::currentDataTag(), step);
            display.takePicture(pictures() + '/' + QString(name).replace(' ', '-'));
        }
    }
};

QTEST_GUILESS_MAIN(DisplayTest)
#include "display_test.moc"
