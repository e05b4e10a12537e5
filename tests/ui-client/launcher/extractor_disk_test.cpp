#include "tests/support/child.h"
#include "tests/support/log-capture.h"
#include "tests/ui-client/launcher/extractor-workshop.h"
#include "ui-client/launcher/texts/strtab.h"

#include <QtTest>

#include <sys/stat.h>
#include <unistd.h>

#include <clocale>
#include <ctime>

namespace {

class UmaskGuard {
public:
    explicit UmaskGuard(mode_t mask) : m_saved(umask(mask)) {}
    ~UmaskGuard() { umask(m_saved); }
    UmaskGuard(const UmaskGuard&) = delete;
    UmaskGuard& operator=(const UmaskGuard&) = delete;

private:
    const mode_t m_saved;
};

} // namespace

class ExtractorDiskTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY(setlocale(LC_ALL, "C.UTF-8") != nullptr);
        StrTable::InitStrTable();
    }

    // --- where entries land ---

    void entryAboveTheTargetIsRefused() {
        const Workshop shop;
        const LogCapture log(4);
        shop.run("mkdir in; touch in/a in/c; echo evil > evil; cd in; tar -cPf ../p.tar a ../evil "
                 "c; rm ../evil");
        QCOMPARE(shop.extract("p.tar"), -1);
        QCOMPARE(log.lines(), QStringList{"[ERROR] extractor(220): archive_read_extract2 failed: "
                                          "'Path contains '..''"});
        QCOMPARE(listTree(shop.out()), QStringList{"a"});
        QVERIFY(!QFileInfo::exists(shop.path("evil")));
    }

    void absoluteNameLandsBelowTheTarget() {
        const Workshop shop;
        shop.run("mkdir in; echo text > in/a; tar -cPf p.tar $PWD/in/a; rm in/a");
        QCOMPARE(shop.extract("p.tar"), 0);
        QVERIFY(!QFileInfo::exists(shop.path("in/a")));
        QCOMPARE(readFile(shop.out() + shop.path("in/a")), QByteArray("text\n"));
    }

    void workingFolderPlaysNoPart() {
        const Workshop shop;
        const QString before = QDir::currentPath();
        shop.run("touch a; tar -cf p.tar a; mkdir elsewhere");
        QVERIFY(QDir::setCurrent(shop.path("elsewhere")));
        const int result = shop.extract("p.tar");
        const QString during = QDir::currentPath();
        QDir::setCurrent(before);
        QCOMPARE(result, 0);
        QCOMPARE(during, shop.path("elsewhere"));
        QCOMPARE(listTree(shop.path("elsewhere")), QStringList());
        QCOMPARE(listTree(shop.out()), QStringList{"a"});
    }

    void hardLinkFailsAndIsNotLookedUpFromTheWorkingFolder_data() {
        QTest::addColumn<QString>("pack");
        QTest::newRow("tar") << "tar -cf ../p a sub/b";
        QTest::newRow("cpio") << "printf 'a\\nsub\\nsub/b\\n' | cpio -o -H newc --quiet > ../p";
    }
    void hardLinkFailsAndIsNotLookedUpFromTheWorkingFolder() {
        QFETCH(QString, pack);
        const Workshop shop;
        const LogCapture log(4);
        shop.run("mkdir -p in/sub; echo text > in/a; ln in/a in/sub/b; cd in; " + pack);
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(shop.path("in")));
        const int result = shop.extract("p");
        QDir::setCurrent(before);
        QCOMPARE(result, -1);
        QCOMPARE(log.lines(),
                 QStringList{"[ERROR] extractor(220): archive_read_extract2 failed: 'Hard-link "
                             "target 'a' does not exist.'"});
        QCOMPARE(statOf(shop.path("in/a")).st_nlink, nlink_t(2));
        QVERIFY(!QFileInfo::exists(shop.out("sub/b")));
    }

    void hardLinkReachesNothingOutsideTheTarget() {
        const Workshop shop;
        const LogCapture log(4);
        // The package names a file by an absolute path that exists here and was not packed.
        shop.run("mkdir in; echo secret > in/a; ln in/a in/b; tar -cPf p.tar $PWD/in/a $PWD/in/b; "
                 "tar --delete -Pf p.tar $PWD/in/a; rm in/b");
        QCOMPARE(shop.extract("p.tar"), -1);
        QCOMPARE(statOf(shop.path("in/a")).st_nlink, nlink_t(1));
        QVERIFY(log.lines().first().startsWith("[ERROR] extractor(220): "));
    }

    void symbolicLinkKeepsItsText() {
        const Workshop shop;
        shop.run("ln -s ../somewhere/else link; tar -cf p.tar link");
        QCOMPARE(shop.extract("p.tar"), 0);
        QCOMPARE(listTree(shop.out()), QStringList{"link -> ../somewhere/else"});
    }

    // --- what replaces what, and how it looks ---

    void readOnlyFileIsReplacedAndNotWrittenInto() {
        const Workshop shop;
        shop.run("echo new > a; tar -cf p.tar a; mkdir out; echo old > out/a; chmod 444 out/a; "
                 "ln out/a witness");
        QCOMPARE(shop.extract("p.tar"), 0);
        QCOMPARE(readFile(shop.out("a")), QByteArray("new\n"));
        // Unlinked first: the old file, still known by another name, is as it was.
        QCOMPARE(readFile(shop.path("witness")), QByteArray("old\n"));
    }

    void readOnlyFileOfAnOrdinaryUserIsReplaced() {
        const Workshop shop;
        shop.run("echo new > a; tar -cf p.tar a; chmod 755 .; chmod 644 p.tar; mkdir -m 777 out");
        const int result = asOrdinaryUser([&shop] {
            shop.run("echo old > out/a; chmod 400 out/a");
            return shop.extract("p.tar") == 0 ? 0 : 1;
        });
        QCOMPARE(result, 0);
        QCOMPARE(readFile(shop.out("a")), QByteArray("new\n"));
    }

    void linkInTheWayIsReplacedAndNotFollowed() {
        const Workshop shop;
        shop.run("echo new > a; tar -cf p.tar a; mkdir out; echo kept > kept; ln -s ../kept out/a");
        QCOMPARE(shop.extract("p.tar"), 0);
        QCOMPARE(readFile(shop.out("a")), QByteArray("new\n"));
        QCOMPARE(readFile(shop.path("kept")), QByteArray("kept\n"));
    }

    void folderThatCannotBeWrittenFails() {
        const Workshop shop;
        const LogCapture log(4);
        shop.run("echo new > a; tar -cf p.tar a; chmod 755 .; chmod 644 p.tar; mkdir -m 555 out");
        QCOMPARE(asOrdinaryUser([&shop] { return shop.extract("p.tar") == -1 ? 0 : 1; }), 0);
        QCOMPARE(log.lines().size(), 1);
        QVERIFY2(log.lines().first().startsWith(
                     "[ERROR] extractor(220): archive_read_extract2 failed: 'Can't "),
                 qPrintable(log.lines().first()));
        QCOMPARE(listTree(shop.out()), QStringList());
    }

    void permissionsAreLimitedByTheUmask() {
        const Workshop shop;
        shop.run("mkdir in; touch in/all in/set; chmod 777 in/all; chmod 6755 in/set; "
                 "tar -cpf p.tar in");
        const UmaskGuard mask(077);
        QCOMPARE(shop.extract("p.tar"), 0);
        QCOMPARE(permissions(shop.out("in/all")), QString("700"));
        QCOMPARE(permissions(shop.out("in/set")), QString("700"));
        QCOMPARE(permissions(shop.out("in")), QString("700"));
        QCOMPARE(permissions(shop.out()), QString("700"));
    }

    void entriesBelongToWhoExtractsAndAreOfNow() {
        const Workshop shop;
        shop.run("touch a; tar --owner=4711 --group=4711 --mtime=2001-02-03 -cf p.tar a");
        const time_t before = time(nullptr);
        QCOMPARE(shop.extract("p.tar"), 0);
        const struct stat info = statOf(shop.out("a"));
        QCOMPARE(info.st_uid, geteuid());
        QCOMPARE(info.st_gid, getegid());
        QVERIFY(info.st_mtime >= before - 1);
    }

    void readOnlyFolderOfThePackageIsFilled() {
        const Workshop shop;
        shop.run("mkdir in; echo text > in/a; chmod 555 in; tar -cf p.tar in; chmod 755 in .; "
                 "chmod 644 p.tar; mkdir -m 777 out");
        QCOMPARE(asOrdinaryUser([&shop] { return shop.extract("p.tar") == 0 ? 0 : 1; }), 0);
        QCOMPARE(readFile(shop.out("in/a")), QByteArray("text\n"));
        QCOMPARE(permissions(shop.out("in")), QString("555"));
    }
};

QTEST_GUILESS_MAIN(ExtractorDiskTest)
#include "extractor_disk_test.moc"
