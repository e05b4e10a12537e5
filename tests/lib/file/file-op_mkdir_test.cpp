// Linked with strdup wrapped: the test says when memory is short.
#include "lib/file/file-op.h"
#include "tests/support/child.h"
#include "tests/support/files.h"
#include "tests/support/log-capture.h"
#include "tests/support/paths.h"

#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>

static bool memory_is_short = false;

extern "C" char* __real_strdup(const char* text);
extern "C" char* __wrap_strdup(const char* text) {
    if (memory_is_short) {
        errno = ENOMEM;
        return nullptr;
    }
    return __real_strdup(text);
}

namespace {

constexpr unsigned by_umask = 0xFFFFFFFF;

unsigned modeOf(const QString& path) {
    struct stat found = {};
    return lstat(QFile::encodeName(path).constData(), &found) == 0 ? found.st_mode & 07777 : ~0U;
}

/// Sets the umask for its lifetime.
struct Umask {
    const mode_t saved;
    explicit Umask(mode_t mask) : saved(umask(mask)) {}
    ~Umask() { umask(saved); }
    Umask(const Umask&) = delete;
    Umask& operator=(const Umask&) = delete;
};

mode_t currentUmask() {
    const mode_t mask = umask(0);
    umask(mask);
    return mask;
}

const QStringList initial_tree{"d/", "d/old", "dangling -> nowhere", "f", "l -> d", "lf -> f"};

QStringList initialTreeAnd(const QStringList& more) {
    QStringList tree = initial_tree + more;
    tree.sort();
    return tree;
}

} // namespace

class FileOpMkdirTest : public QObject {
    Q_OBJECT

private slots:
    // Every test works in a fresh folder, by relative paths.
    void init() {
        m_folder.emplace();
        QVERIFY(QDir::setCurrent(m_folder->path()));
        chmod(".", 0755);
        writeFile("d/old", "old");
        writeFile("f", "file");
        QCOMPARE(symlink("d", "l"), 0);
        QCOMPARE(symlink("f", "lf"), 0);
        QCOMPARE(symlink("nowhere", "dangling"), 0);
        m_log.emplace();
    }
    void cleanup() {
        m_log.reset();
        QDir::setCurrent("/");
        m_folder.reset();
    }

    void folderIsMadeUnderTheUmask_data() {
        QTest::addColumn<bool>("parents");
        QTest::newRow("alone") << false;
        QTest::newRow("with parents") << true;
    }
    void folderIsMadeUnderTheUmask() {
        QFETCH(bool, parents);
        const Umask mask(027);
        QCOMPARE(FSMKDir("new", parents), 0);
        QCOMPARE(modeOf("new"), 0750U);
        QCOMPARE(currentUmask(), mode_t(027));
        QCOMPARE(m_log->lines(), QStringList());
    }

    void parentsAreMadeOnlyOnDemand() {
        QCOMPARE(FSMKDir("a/b/c", false), -2);
        QCOMPARE(errno, ENOENT);
        QCOMPARE(m_log->unnumbered(),
                 QStringList("[ERROR] file-op(#): path = a/b/c errno : No such file or directory"));
        QCOMPARE(listTree("."), initial_tree);
        QCOMPARE(FSMKDir("a/b/c", true), 0);
        QCOMPARE(listTree("."), initialTreeAnd({"a/", "a/b/", "a/b/c/"}));
        QCOMPARE(m_log->lines().size(), 1);
    }

    void folderThatExistsIsSuccess() {
        for (const bool parents : {false, true}) {
            QCOMPARE(FSMKDir("d", parents), 0);
            QCOMPARE(FSMKDir("/", parents), 0);
        }
        QCOMPARE(m_log->lines(), QStringList());
        QCOMPARE(listTree("."), initial_tree);
    }

    void anythingElseInItsPlaceAnswersMinusOne_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("type");
        QTest::newRow("file") << "f" << 1;
        QTest::newRow("link to a folder") << "l" << 3;
        QTest::newRow("link to a file") << "lf" << 3;
        QTest::newRow("link to nothing") << "dangling" << 3;
        QTest::newRow("device") << "/dev/null" << 5;
        QTest::newRow("FIFO") << "fifo" << 6;
    }
    void anythingElseInItsPlaceAnswersMinusOne() {
        QFETCH(QString, path);
        QFETCH(int, type);
        QCOMPARE(mkfifo("fifo", 0600), 0);
        for (const bool parents : {false, true}) {
            QCOMPARE(FSMKDir(toPath(path), parents), -1);
        }
        const QString line = QString("[ERROR] file-op(#): FSMKDir: Create a folder but local file "
                                     "system is not directory '%1' (%2)")
                                 .arg(path)
                                 .arg(type);
        QCOMPARE(m_log->unnumbered(), (QStringList{line, line}));
        QCOMPARE(listTree("."), initialTreeAnd({"fifo"}));
    }

    void emptyPathAnswersMinusOne() {
        QCOMPARE(FSMKDir("", false), -1);
        QCOMPARE(FSMKDir("", true), -1);
        QCOMPARE(m_log->lines(), QStringList());
    }

    void unreadableInformationAnswersMinusOne() {
        QCOMPARE(FSMKDir("f/below", true), -1);
        QCOMPARE(errno, ENOTDIR);
        QCOMPARE(m_log->unnumbered(),
                 QStringList("[ERROR] file-op(#): FSMKDir: Failed to to file info 'f/below'"));
    }

    void folderThatMayNotBeMadeAnswersMinusTwo_data() {
        QTest::addColumn<bool>("parents");
        QTest::newRow("alone") << false;
        QTest::newRow("with parents") << true;
    }
    void folderThatMayNotBeMadeAnswersMinusTwo() {
        QFETCH(bool, parents);
        chmod("d", 0555);
        QCOMPARE(asOrdinaryUser([parents] {
                     return FSMKDir("d/new", parents) == -2 && errno == EACCES ? 0 : 1;
                 }),
                 0);
        chmod("d", 0755);
        QCOMPARE(m_log->unnumbered(),
                 QStringList("[ERROR] file-op(#): path = d/new errno : Permission denied"));
        QCOMPARE(listTree("."), initial_tree);
    }

    void parentsBehindADanglingLinkAnswerMinusTwo() {
        QCOMPARE(FSMKDir("dangling/x", true), -2);
        QCOMPARE(errno, EEXIST);
        QCOMPARE(m_log->unnumbered(),
                 QStringList("[ERROR] file-op(#): path = dangling/x errno : File exists"));
        QCOMPARE(listTree("."), initial_tree);
    }

    void logNamesTheLineOfTheSource() {
        QCOMPARE(FSMKDir("f", false), -1);
        QVERIFY(QRegularExpression("^\\[ERROR\\] file-op\\([1-9][0-9]*\\): FSMKDir: ")
                    .match(m_log->lines().value(0))
                    .hasMatch());
    }

    void pathIsMadePrefixByPrefix_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("replace");
        QTest::addColumn<int>("end");
        QTest::addColumn<QStringList>("tree");
        const QStringList same = initial_tree;
        QTest::newRow("one") << "a" << false << 1 << initialTreeAnd({"a/"});
        QTest::newRow("three") << "a/b/c" << false << 5 << initialTreeAnd({"a/", "a/b/", "a/b/c/"});
        QTest::newRow("slash at the end") << "a/b/" << false << 3 << initialTreeAnd({"a/", "a/b/"});
        QTest::newRow("two slashes inside")
            << "a//b" << false << 4 << initialTreeAnd({"a/", "a/b/"});
        QTest::newRow("two slashes at the end") << "a//" << false << 2 << initialTreeAnd({"a/"});
        QTest::newRow("dots") << "./a/../b" << false << 8 << initialTreeAnd({"a/", "b/"});
        QTest::newRow("there already") << "d" << false << 1 << same;
        QTest::newRow("there already, with a slash") << "d/" << false << 1 << same;
        QTest::newRow("through a link to a folder")
            << "l/x/y" << false << 5 << initialTreeAnd({"d/x/", "d/x/y/"});
        QTest::newRow("link to a folder") << "l" << false << 1 << same;
        QTest::newRow("root") << "/" << false << 1 << same;
        QTest::newRow("root twice") << "//" << false << 1 << same;
        QTest::newRow("folder is not replaced") << "d/x" << true << 3 << initialTreeAnd({"d/x/"});
        QTest::newRow("link to a folder is not replaced") << "l" << true << 1 << same;
        QTest::newRow("file replaced at the end")
            << "f" << true << 1
            << QStringList{"d/", "d/old", "dangling -> nowhere", "f/", "l -> d", "lf -> f"};
        QTest::newRow("file replaced in the way")
            << "f/x" << true << 3
            << QStringList{"d/", "d/old", "dangling -> nowhere", "f/", "f/x/", "l -> d", "lf -> f"};
        QTest::newRow("link to a file replaced, the file not")
            << "lf" << true << 2
            << QStringList{"d/", "d/old", "dangling -> nowhere", "f", "l -> d", "lf/"};
    }
    void pathIsMadePrefixByPrefix() {
        QFETCH(QString, path);
        QFETCH(bool, replace);
        QFETCH(int, end);
        QFETCH(QStringList, tree);
        const ustring text = toPath(path);
        char* stop = nullptr;
        QCOMPARE(FSMKDirP(text, &stop, replace, by_umask), 0);
        QCOMPARE(stop - text.c_str(), std::ptrdiff_t(end));
        QCOMPARE(toText(text), path);
        QCOMPARE(listTree("."), tree);
        QCOMPARE(m_log->lines(), QStringList());
    }

    void absolutePathIsMadeToo() {
        const ustring text = toPath(m_folder->path() + "/a/b");
        char* stop = nullptr;
        QCOMPARE(FSMKDirP(text, &stop, false, by_umask), 0);
        QCOMPARE(stop, text.c_str() + text.length());
        QCOMPARE(listTree("."), initialTreeAnd({"a/", "a/b/"}));
    }

    void pathThatCannotBeMadeTellsWhereItFailed_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("replace");
        QTest::addColumn<int>("end");
        QTest::addColumn<int>("error");
        QTest::addColumn<QStringList>("lines");
        const QString file = "[INFO] file-op(#): FSMKDirP: path: %1 is existing file or symbolic "
                             "link pointed to file";
        const QString way =
            "[INFO] file-op(#): FSMKDirP: path: %1 is symbolic link pointed to folder";
        QTest::newRow("file at the end")
            << "f" << false << 1 << EEXIST << QStringList(file.arg("f"));
        QTest::newRow("file, then a slash")
            << "f/" << false << 1 << EEXIST << QStringList(file.arg("f"));
        QTest::newRow("link to a file at the end")
            << "lf" << false << 2 << EEXIST << QStringList(file.arg("lf"));
        QTest::newRow("file in a folder")
            << "d/old" << false << 5 << EEXIST << QStringList(file.arg("d/old"));
        QTest::newRow("file in the way")
            << "f/x/y" << false << 3 << ENOTDIR << QStringList(way.arg("f"));
        QTest::newRow("link to a file in the way")
            << "lf/x" << false << 4 << ENOTDIR << QStringList(way.arg("lf"));
        QTest::newRow("link to nothing") << "dangling" << false << 8 << EEXIST << QStringList();
        QTest::newRow("link to nothing in the way")
            << "dangling/x" << false << 8 << EEXIST << QStringList();
        QTest::newRow("link to nothing, replace")
            << "dangling" << true << 8 << EEXIST << QStringList();
        QTest::newRow("name too long")
            << QString(256, 'n') + "/x" << false << 256 << ENAMETOOLONG << QStringList();
    }
    void pathThatCannotBeMadeTellsWhereItFailed() {
        QFETCH(QString, path);
        QFETCH(bool, replace);
        QFETCH(int, end);
        QFETCH(int, error);
        QFETCH(QStringList, lines);
        const ustring text = toPath(path);
        char* stop = nullptr;
        errno = 0;
        QCOMPARE(FSMKDirP(text, &stop, replace, by_umask), -1);
        QCOMPARE(errno, error);
        QCOMPARE(stop - text.c_str(), std::ptrdiff_t(end));
        QCOMPARE(m_log->unnumbered(), lines);
        QCOMPARE(listTree("."), initial_tree);
        QCOMPARE(readFile("f"), QByteArray("file"));
    }

    void foldersAboveAFailureStay() {
        const ustring text = toPath("d/new/" + QString(256, 'n'));
        char* stop = nullptr;
        QCOMPARE(FSMKDirP(text, &stop, false, by_umask), -1);
        QCOMPARE(stop, text.c_str() + text.length());
        QCOMPARE(listTree("."), initialTreeAnd({"d/new/"}));
    }

    void endIsOptional() {
        QCOMPARE(FSMKDirP("a/b", nullptr, false, by_umask), 0);
        QCOMPARE(FSMKDirP("f", nullptr, false, by_umask), -1);
    }

    void whatCannotBeReplacedStays() {
        chmod("d", 0555);
        QCOMPARE(asOrdinaryUser([] {
                     const ustring text = "d/old/x";
                     char* stop = nullptr;
                     const int result = FSMKDirP(text, &stop, true, by_umask);
                     return result == -1 && errno == EACCES && stop == text.c_str() + 5 ? 0 : 1;
                 }),
                 0);
        chmod("d", 0755);
        QCOMPARE(listTree("."), initial_tree);
    }

    void explicitModeIsGivenExactly_data() {
        QTest::addColumn<unsigned>("mode");
        QTest::newRow("all") << 0777U;
        QTest::newRow("owner alone") << 0700U;
        QTest::newRow("group writes") << 0775U;
        QTest::newRow("sticky") << 01777U;
    }
    void explicitModeIsGivenExactly() {
        QFETCH(unsigned, mode);
        const Umask mask(077);
        QCOMPARE(FSMKDirP("a/b/c", nullptr, false, mode), 0);
        for (const char* path : {"a", "a/b", "a/b/c"}) {
            QCOMPARE(modeOf(path), mode);
        }
        QCOMPARE(currentUmask(), mode_t(077));
    }

    void allOnesModeIsLeftToTheUmask() {
        const Umask mask(022);
        QCOMPARE(FSMKDirP("a/b", nullptr, false, by_umask), 0);
        QCOMPARE(modeOf("a"), 0755U);
        QCOMPARE(modeOf("a/b"), 0755U);
    }

    void umaskIsRestoredAfterAFailure() {
        const Umask mask(037);
        QCOMPARE(FSMKDirP("f", nullptr, false, 0700), -1);
        QCOMPARE(currentUmask(), mode_t(037));
        QCOMPARE(FSMKDirP("", nullptr, false, 0700), -1);
        QCOMPARE(currentUmask(), mode_t(037));
    }

    void emptyPathLeavesEndAlone() {
        char* const untouched = reinterpret_cast<char*>(this);
        char* stop = untouched;
        QCOMPARE(FSMKDirP("", &stop, true, by_umask), -1);
        QCOMPARE(stop, untouched);
    }

    void lackOfMemoryAnswersMinusOne() {
        const Umask mask(037);
        char* stop = nullptr;
        memory_is_short = true;
        const int result = FSMKDirP("a", &stop, false, 0700);
        memory_is_short = false;
        QCOMPARE(result, -1);
        QCOMPARE(errno, ENOMEM);
        QVERIFY(stop == nullptr);
        QCOMPARE(currentUmask(), mode_t(037));
        QCOMPARE(listTree("."), initial_tree);
    }

    void foldersBelowARootAreMadeOneByOne() {
        QCOMPARE(FSMKDirFromRoot("d", "d/a/b"), 0);
        QCOMPARE(listTree("."), initialTreeAnd({"d/a/", "d/a/b/"}));
        QCOMPARE(m_log->unnumbered(),
                 (QStringList{"[DEBUG] file-op(#): FSMKDirFromRoot: create d/a",
                              "[DEBUG] file-op(#): FSMKDirFromRoot: create d/a/b"}));
        QCOMPARE(FSMKDirFromRoot("d", "d/a/b/"), 0);
        QCOMPARE(FSMKDirFromRoot("d", "d"), 0);
        QCOMPARE(listTree("."), initialTreeAnd({"d/a/", "d/a/b/"}));
    }

    void targetShorterThanItsRootIsRefused() {
        QCOMPARE(FSMKDirFromRoot("d/a", "d"), -1);
        QCOMPARE(m_log->unnumbered(),
                 QStringList("[ERROR] file-op(#): Giving a root 'd/a' whose length is larger then "
                             "target's 'd'."));
        QCOMPARE(listTree("."), initial_tree);
    }

    void targetOutsideItsRootIsRefused() {
        QCOMPARE(FSMKDirFromRoot("d", "e/a"), -1);
        QCOMPARE(FSMKDirFromRoot("d", "da"), -1);
        QCOMPARE(
            m_log->unnumbered(),
            (QStringList{"[ERROR] file-op(#): root 'd' is not a parent folder of target 'e/a'",
                         "[ERROR] file-op(#): root 'd' is not a parent folder of target 'da'"}));
        QCOMPARE(listTree("."), initial_tree);
    }

    void rootItselfIsNotMade() {
        QCOMPARE(FSMKDirFromRoot("root", "root/a/b"), -1);
        QCOMPARE(errno, ENOENT);
        QCOMPARE(m_log->unnumbered(),
                 (QStringList{"[DEBUG] file-op(#): FSMKDirFromRoot: create root/a",
                              "[ERROR] file-op(#): path = root/a errno : No such file or "
                              "directory"}));
        QCOMPARE(listTree("."), initial_tree);
    }

    void fileBelowTheRootStopsTheWalk() {
        QCOMPARE(FSMKDirFromRoot("d", "d/old/x"), -1);
        QCOMPARE(listTree("."), initial_tree);
    }

private:
    std::optional<QTemporaryDir> m_folder;
    std::optional<LogCapture> m_log;
};

QTEST_GUILESS_MAIN(FileOpMkdirTest)
#include "file-op_mkdir_test.moc"
