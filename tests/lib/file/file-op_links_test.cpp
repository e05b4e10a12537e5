// Linked with readlink wrapped: no file system of this system holds a link above 4095 bytes.
#include "lib/file/file-op.h"
#include "tests/support/files.h"
#include "tests/support/log-capture.h"
#include "tests/support/paths.h"

#include <QTemporaryDir>
#include <QtTest>

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>

static bool links_are_too_long = false;

extern "C" ssize_t __real_readlink(const char* path, char* buffer, size_t size);
extern "C" ssize_t __wrap_readlink(const char* path, char* buffer, size_t size) {
    if (links_are_too_long) {
        memset(buffer, 'n', size);
        return static_cast<ssize_t>(size);
    }
    return __real_readlink(path, buffer, size);
}

class FileOpLinksTest : public QObject {
    Q_OBJECT

private slots:
    // Every test works in a fresh folder, by relative paths.
    void init() {
        m_folder.emplace();
        QVERIFY(QDir::setCurrent(m_folder->path()));
        writeFile("folder/file", "content");
        QCOMPARE(symlink("folder", "link"), 0);
        QCOMPARE(symlink("link/file", "far"), 0);
        QCOMPARE(symlink("nowhere", "dangling"), 0);
        QCOMPARE(symlink("loop", "loop"), 0);
        m_log.emplace();
    }
    void cleanup() {
        m_log.reset();
        QDir::setCurrent("/");
        m_folder.reset();
    }

    void realPathHasNeitherLinksNorDots_data() {
        QTest::addColumn<QString>("path");
        for (const char* path : {"folder/file", "link/file", "far", "./folder/../folder//file", ".",
                                 "/", "/proc/self/exe"}) {
            QTest::newRow(path) << QString(path);
        }
    }
    void realPathHasNeitherLinksNorDots() {
        QFETCH(QString, path);
        const QString expected =
            QString::fromStdString(std::filesystem::canonical(path.toStdString()).string());
        ustring text = toPath(path);
        QCOMPARE(FSGetRealPath(text), 0);
        QCOMPARE(toText(text), expected);
        QCOMPARE(m_log->unnumbered(),
                 (QStringList{"[DEBUG] file-op(#):  org path [" + path + "]",
                              "[DEBUG] file-op(#):  get full path [" + expected + "]"}));
    }

    void pathWithoutARealOneStays_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("error");
        QTest::newRow("missing") << "missing" << ENOENT;
        QTest::newRow("link to nothing") << "dangling" << ENOENT;
        QTest::newRow("link to itself") << "loop" << ELOOP;
        QTest::newRow("below a file") << "far/x" << ENOTDIR;
        QTest::newRow("empty") << "" << ENOENT;
    }
    void pathWithoutARealOneStays() {
        QFETCH(QString, path);
        QFETCH(int, error);
        ustring text = toPath(path);
        QCOMPARE(FSGetRealPath(text), -1);
        QCOMPARE(errno, error);
        QCOMPARE(toText(text), path);
        QCOMPARE(m_log->unnumbered(), QStringList("[DEBUG] file-op(#):  org path [" + path + "]"));
    }

    void linkIsMadeWithItsTextAsGiven() {
        QCOMPARE(FSCreateSymbolicLink("../no such/thing", "new"), 0);
        QCOMPARE(std::filesystem::read_symlink("new").string(), std::string("../no such/thing"));
        QCOMPARE(m_log->lines(), QStringList());
    }

    void linkThatCannotBeMadeAnswersMinusOne() {
        QCOMPARE(FSCreateSymbolicLink("target", "folder"), -1);
        QCOMPARE(errno, EEXIST);
        QCOMPARE(FSCreateSymbolicLink("target", "missing/new"), -1);
        QCOMPARE(errno, ENOENT);
        const QString start =
            "[ERROR] file-op(#): FSCreateSymbolicLink: Failed to create symbolic link '";
        QCOMPARE(m_log->unnumbered(),
                 (QStringList{start + "folder' -> 'target' (code: 17, msg: File exists)",
                              start + "missing/new' -> 'target' (code: 2, msg: No such file or "
                                      "directory)"}));
    }

    void linkIsReadAsItIs_data() {
        QTest::addColumn<QByteArray>("target");
        QTest::newRow("relative") << QByteArray("a/../b");
        QTest::newRow("UTF-8") << QByteArray("/日本");
        QTest::newRow("longest") << QByteArray(4095, 'n');
    }
    void linkIsReadAsItIs() {
        QFETCH(QByteArray, target);
        QCOMPARE(symlink(target.constData(), "new"), 0);
        ustring text = "old";
        QCOMPARE(FSReadSymbolicLink("new", text), 0);
        QCOMPARE(QByteArray(text.c_str()), target);
        QCOMPARE(text.length(), size_t(target.size()));
        QCOMPARE(m_log->lines(), QStringList());
    }

    void whatIsNoLinkAnswersMinusOne_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("error");
        QTest::addColumn<QString>("text");
        QTest::newRow("file") << "folder/file" << EINVAL << "(code: 22, msg: Invalid argument)";
        QTest::newRow("missing") << "missing" << ENOENT
                                 << "(code: 2, msg: No such file or directory)";
    }
    void whatIsNoLinkAnswersMinusOne() {
        QFETCH(QString, path);
        QFETCH(int, error);
        QFETCH(QString, text);
        ustring out = "old";
        QCOMPARE(FSReadSymbolicLink(toPath(path), out), -1);
        QCOMPARE(errno, error);
        QCOMPARE(toText(out), QString("old"));
        QCOMPARE(m_log->unnumbered(),
                 QStringList("[ERROR] file-op(#): FSReadSymbolicLink: Failed to read symbolic "
                             "link '" +
                             path + "' " + text));
    }

    void linkAboveTheBufferAnswersMinusOne() {
        ustring out = "old";
        links_are_too_long = true;
        const int result = FSReadSymbolicLink("link", out);
        links_are_too_long = false;
        QCOMPARE(result, -1);
        QCOMPARE(errno, ENAMETOOLONG);
        QCOMPARE(toText(out), QString("old"));
        QCOMPARE(m_log->unnumbered(),
                 QStringList("[ERROR] file-op(#): FSReadSymbolicLink: path of 'link' is more than "
                             "4095"));
    }

private:
    std::optional<QTemporaryDir> m_folder;
    std::optional<LogCapture> m_log;
};

QTEST_GUILESS_MAIN(FileOpLinksTest)
#include "file-op_links_test.moc"
