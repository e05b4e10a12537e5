#include "lib/file/file-op.h"
#include "tests/support/files.h"
#include "tests/support/log-capture.h"
#include "tests/support/paths.h"

#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>

#include <cerrno>
#include <optional>

namespace {} // namespace

class FileOpTempTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        m_folder.emplace();
        m_log.emplace();
    }
    void cleanup() {
        m_log.reset();
        m_folder.reset();
    }

    void temporaryFileIsEmptyAndOpenToReaders_data() {
        QTest::addColumn<unsigned>("mask");
        QTest::newRow("usual umask") << 022U;
        QTest::newRow("closed umask") << 077U;
        QTest::newRow("no umask") << 0U;
    }
    void temporaryFileIsEmptyAndOpenToReaders() {
        QFETCH(unsigned, mask);
        const int descriptors = openDescriptors();
        const mode_t saved = umask(mask);
        ustring name;
        const int result = FSMktemp(toPath(m_folder->path()), name);
        umask(saved);
        QCOMPARE(result, 0);
        QCOMPARE(openDescriptors(), descriptors);
        QVERIFY(QRegularExpression("^" + m_folder->path() + "/[0-9A-Za-z]{6}$")
                    .match(toText(name))
                    .hasMatch());
        struct stat found = {};
        QCOMPARE(lstat(name.c_str(), &found), 0);
        QCOMPARE(found.st_mode, mode_t(S_IFREG | 0644));
        QCOMPARE(found.st_size, off_t(0));
        QCOMPARE(m_log->lines(), QStringList());
    }

    void everyTemporaryFileIsAnother() {
        ustring name;
        for (int i = 0; i < 50; ++i) {
            QCOMPARE(FSMktemp(toPath(m_folder->path()), name), 0);
        }
        QCOMPARE(listTree(m_folder->path()).size(), 50);
    }

    void temporaryFileInNoFolderAnswersMinusOne() {
        const QString missing = m_folder->filePath("missing");
        ustring name = "old";
        QCOMPARE(FSMktemp(toPath(missing), name), -1);
        QCOMPARE(errno, ENOENT);
        QCOMPARE(toText(name), QString("old"));
        QCOMPARE(m_log->unnumbered(), QStringList("[ERROR] file-op(#): mkstemp(" + missing +
                                                  "/XXXXXX): No such file or directory"));
    }

    // Cut to the length of the buffer, the name would be that of a file in the folder above.
    void temporaryFileWithANameTooLongIsMadeNowhere() {
        QString deep = m_folder->path();
        while (deep.size() < 3800) {
            deep += "/" + QString(200, 'n');
        }
        deep += "/" + QString(4087 - deep.size(), 'l');
        QVERIFY(QDir().mkpath(deep.left(deep.lastIndexOf('/'))));
        QCOMPARE(mkdir(toPath(deep).c_str(), 0755), 0);
        const int before = listTree(m_folder->path()).size();
        ustring name = "old";
        QCOMPARE(FSMktemp(toPath(deep + "/XXXXXX"), name), -1);
        QCOMPARE(errno, ENAMETOOLONG);
        QCOMPARE(toText(name), QString("old"));
        QCOMPARE(listTree(m_folder->path()).size(), before);
        QCOMPARE(m_log->unnumbered(), QStringList("[ERROR] file-op(#): mkstemp(" + deep +
                                                  "/XXXXXX/XXXXXX): File name too long"));
    }

    void longestNameThatFitsTheBufferIsTried() {
        ustring name;
        const QString longest = QString("/") + QString(4087, 'n'); // and 7 more are 4095
        QCOMPARE(FSMktemp(toPath(longest), name), -1);
        QCOMPARE(errno, ENAMETOOLONG); // the system's own answer to a component of that length
    }

    void temporaryPathIsNamedAndNotMade_data() {
        QTest::addColumn<QString>("folder");
        QTest::newRow("plain") << "/tmp/x";
        QTest::newRow("slash at the end") << "/tmp/x/";
        QTest::newRow("empty") << "";
        QTest::newRow("UTF-8") << QString::fromUtf8("/日本/ä");
    }
    void temporaryPathIsNamedAndNotMade() {
        QFETCH(QString, folder);
        ustring path = "old";
        ustring other;
        QCOMPARE(FSCreateTempPath(toPath(folder), path), 0);
        QCOMPARE(FSCreateTempPath(toPath(folder), other), 0);
        QVERIFY(
            QRegularExpression("^" + folder + "/[-_0-9A-Za-z]{8}$").match(toText(path)).hasMatch());
        QVERIFY(path != other);
        QVERIFY(!IsFileExist(path, false));
        QCOMPARE(m_log->lines(), QStringList());
    }

private:
    std::optional<QTemporaryDir> m_folder;
    std::optional<LogCapture> m_log;
};

QTEST_GUILESS_MAIN(FileOpTempTest)
#include "file-op_temp_test.moc"
