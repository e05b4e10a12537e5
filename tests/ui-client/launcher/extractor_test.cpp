#include "tests/support/log-capture.h"
#include "tests/ui-client/launcher/extractor-workshop.h"
#include "ui-client/launcher/adapter.h"
#include "ui-client/launcher/texts/strtab.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtTest>

#include <archive.h>
#include <archive_entry.h>

#include <clocale>
#include <memory>

namespace {

struct ReaderFree {
    void operator()(archive* reader) const { archive_read_free(reader); }
};

/// What libarchive itself says where it stops reading: as it opens, or at a header.
QString readingError(const QString& path) {
    const std::unique_ptr<archive, ReaderFree> reader(archive_read_new());
    archive_read_support_filter_all(reader.get());
    archive_read_support_format_all(reader.get());
    archive_entry* entry = nullptr;
    if (archive_read_open_filename(reader.get(), QFile::encodeName(path).constData(), 10240) ==
        ARCHIVE_OK) {
        while (archive_read_next_header(reader.get(), &entry) == ARCHIVE_OK) {
        }
    }
    return archive_error_string(reader.get());
}

} // namespace

class ExtractorTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY(setlocale(LC_ALL, "C.UTF-8") != nullptr);
        StrTable::InitStrTable();
    }

    // --- formats ---

    void everyFormatIsUnpackedWhole_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("pack");
        const auto row = [](const char* title, const char* name, const char* pack) {
            QTest::newRow(title) << QString(name) << QString(pack);
        };
        row("tar, GNU", "p.tar", "tar -C tree -cf p.tar .");
        row("tar, ustar of another tool", "p.tar", "bsdtar -C tree -cf p.tar --format ustar .");
        row("tar, pax", "p.tar", "tar -C tree --format=posix -cf p.tar .");
        row("tar.gz", "p.tar.gz", "tar -C tree -czf p.tar.gz .");
        row("tar.bz2", "p.tar.bz2", "bsdtar -C tree -cjf p.tar.bz2 .");
        row("tar.xz", "p.tar.xz", "tar -C tree -cJf p.tar.xz .");
        row("tar.zst", "p.tar.zst", "tar -C tree -c . | zstd -q -o p.tar.zst");
        row("tar.lz4", "p.tar.lz4", "tar -C tree -c . | lz4 -q - p.tar.lz4");
        row("zip", "p.zip", "cd tree; zip -q -y -r ../p.zip .");
        row("7z", "p.7z", "bsdtar -C tree -cf p.7z --format 7zip .");
        row("cpio", "p.cpio", "cd tree; find . | cpio -o -H newc --quiet > ../p.cpio");
        row("name without a hint", "skylark.tpx", "tar -C tree -cJf skylark.tpx .");
    }
    void everyFormatIsUnpackedWhole() {
        QFETCH(QString, name);
        QFETCH(QString, pack);
        const Workshop shop;
        const LogCapture log(4);
        shop.makeTree();
        shop.run(pack);

        QCOMPARE(shop.extract(name), 0);

        QCOMPARE(listTree(shop.out()), listTree(shop.path("tree")));
        shop.run("diff -r --no-dereference tree out");
        QCOMPARE(permissions(shop.out("bin/cloud tessel")), QString("755"));
        QCOMPARE(log.lines(), QStringList());
    }

    void sevenZipOfItsOwnToolIsUnpackedWhole() {
        const Workshop shop;
        writeFile(shop.path("tree/data/file"), "text");
        writeFile(shop.path("tree/INFO"), "info");
        shop.run("cd tree; 7z a ../p.7z . > ../messages");
        QCOMPARE(shop.extract("p.7z"), 0);
        shop.run("diff -r tree out");
    }

    void countAgreesWithAnotherTool_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("pack");
        QTest::newRow("tar") << "p.tar"
                             << "tar -cf p.tar tree";
        QTest::newRow("tar.xz") << "p.tar.xz"
                                << "tar -cJf p.tar.xz tree";
        QTest::newRow("zip") << "p.zip"
                             << "zip -q -y -r p.zip tree";
        QTest::newRow("cpio") << "p.cpio"
                              << "find tree | cpio -o -H newc --quiet > p.cpio";
        QTest::newRow("empty tar") << "p.tar"
                                   << "tar -cf p.tar -T /dev/null";
    }
    void countAgreesWithAnotherTool() {
        QFETCH(QString, name);
        QFETCH(QString, pack);
        const Workshop shop;
        shop.makeTree();
        shop.run(pack);
        QCOMPARE(shop.count(name), shop.run("bsdtar -tf " + name + " | wc -l").trimmed().toInt());
    }

    void listWritesWhatAnotherToolLists() {
        const Workshop shop;
        shop.makeTree();
        shop.run("tar -cJf p.tar.xz tree");
        const StdoutCapture output;
        QCOMPARE(shop.extractor("p.tar.xz").List(), 0);
        QCOMPARE(output.text(), shop.run("bsdtar -tf p.tar.xz"));
        QVERIFY(output.text().contains("tree/data/empty\n"));
    }

    void listOfAnEmptyArchiveWritesNothing() {
        const Workshop shop;
        shop.run("tar -cf p.tar -T /dev/null");
        const StdoutCapture output;
        QCOMPARE(shop.extractor("p.tar").List(), 0);
        QCOMPARE(output.text(), QByteArray());
    }

    void listOfADamagedArchiveEndsAtTheDamage() {
        const Workshop shop;
        const LogCapture log(4);
        shop.run("touch a b c; tar -cf p.tar a b c; printf X | dd of=p.tar bs=1 seek=700 "
                 "conv=notrunc status=none");
        const StdoutCapture output;
        QCOMPARE(shop.extractor("p.tar").List(), 0);
        QCOMPARE(output.text(), QByteArray("a\n"));
        QCOMPARE(shop.count("p.tar"), 1);
        QCOMPARE(log.lines(), QStringList());
    }

    void countAndListTouchNoFile() {
        const Workshop shop;
        shop.makeTree();
        shop.run("tar -cf p.tar tree");
        const StdoutCapture output;
        shop.count("p.tar");
        shop.extractor("p.tar").List();
        QVERIFY(!QFileInfo::exists(shop.out()));
    }

    // --- what the dialog is told ---

    void fourEntriesReportFourSteps() {
        const Workshop shop;
        shop.run("touch a b c d; tar -cf p.tar a b c d");
        QSignalSpy progress(Notify_Adapter::GetInstance(), &Notify_Adapter::sigUpdateProgress);
        QCOMPARE(shop.extract("p.tar"), 0);
        const QList<QList<QVariant>>& steps = progress;
        QCOMPARE(steps, (QList<QList<QVariant>>{{4, 1}, {4, 2}, {4, 3}, {4, 4}}));
    }

    void textIsSetOnceAndBeforeTheArchiveIsRead() {
        const Workshop shop;
        QSignalSpy text(Notify_Adapter::GetInstance(), &Notify_Adapter::sigUpdateDialogText);
        QSignalSpy progress(Notify_Adapter::GetInstance(), &Notify_Adapter::sigUpdateProgress);
        QCOMPARE(shop.extract("missing.tar"), -1);
        QCOMPARE(text.count(), 1);
        QCOMPARE(text.first().first().toString(), QString("Tessel is initializing..."));
        QCOMPARE(progress.count(), 0);
    }

    void failingEntryReportsNoStep() {
        const Workshop shop;
        shop.run("mkdir in; touch in/a evil in/c; cd in; tar -cPf ../p.tar a ../evil c");
        QSignalSpy progress(Notify_Adapter::GetInstance(), &Notify_Adapter::sigUpdateProgress);
        QCOMPARE(shop.extract("p.tar"), -1);
        const QList<QList<QVariant>>& steps = progress;
        QCOMPARE(steps, (QList<QList<QVariant>>{{3, 1}}));
    }

    void sourceAndTargetAreTold() {
        const Workshop shop;
        const LogCapture log;
        shop.run("touch a; tar -cf p.tar a");
        QCOMPARE(shop.extract("p.tar"), 0);
        QCOMPARE(log.lines(), QStringList{"[DEBUG] extractor(155): decompress from '" +
                                          shop.path("p.tar") + "' to '" + shop.out() + "'"});
    }

    void debugLineNeedsItsLevel() {
        const Workshop shop;
        const LogCapture log(6);
        shop.run("touch a; tar -cf p.tar a");
        QCOMPARE(shop.extract("p.tar"), 0);
        QCOMPARE(log.lines(), QStringList());
    }

    // --- what is not an archive ---

    void missingArgumentIsRefused_data() {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("target");
        QTest::newRow("neither") << ""
                                 << "";
        QTest::newRow("no target") << "p.tar"
                                   << "";
        QTest::newRow("no source") << ""
                                   << "out";
    }
    void missingArgumentIsRefused() {
        QFETCH(QString, source);
        QFETCH(QString, target);
        const Workshop shop;
        shop.run("touch a; tar -cf p.tar a");
        const QStringList before = listTree(shop.path());
        const LogCapture log;
        Extractor extractor;
        if (!source.isEmpty()) {
            extractor.SetSource(shop.path(source).toUtf8().constData());
        }
        if (!target.isEmpty()) {
            extractor.SetTarget(shop.path(target).toUtf8().constData());
        }
        QSignalSpy text(Notify_Adapter::GetInstance(), &Notify_Adapter::sigUpdateDialogText);
        QCOMPARE(extractor.Extract(), -1);
        QCOMPARE(extractor.Count(), -1);
        QCOMPARE(extractor.List(), -1);
        // One says "Argument", the others "argument": that is meant.
        QCOMPARE(log.lines(), (QStringList{"[ERROR] extractor(151): Invalid Argument",
                                           "[ERROR] extractor(55): Invalid argument",
                                           "[ERROR] extractor(97): Invalid argument"}));
        QCOMPARE(text.count(), 0);
        QCOMPARE(listTree(shop.path()), before);
    }

    void missingArchiveFailsAsItIsCounted() {
        const Workshop shop;
        const LogCapture log(4);
        QCOMPARE(shop.extract("missing.tar"), -1);
        QCOMPARE(log.lines(),
                 (QStringList{"[ERROR] extractor(72): archive_read_open_filename failed: '" +
                                  readingError(shop.path("missing.tar")) + "'",
                              "[ERROR] extractor(166): Failed to calculate total file numbers, "
                              "ret: -1"}));
        QVERIFY(!QFileInfo::exists(shop.out()));
    }

    void missingArchiveIsNotListed() {
        const Workshop shop;
        const LogCapture log;
        const StdoutCapture output;
        QCOMPARE(shop.extractor("missing.tar").List(), -1);
        QCOMPARE(output.text(), QByteArray());
        QCOMPARE(log.lines(), QStringList{"[ERROR] extractor(113): archive_read_open_filename "
                                          "failed: '" +
                                          readingError(shop.path("missing.tar")) + "'"});
    }

    void archiveWithoutEntriesFails_data() {
        QTest::addColumn<QString>("pack");
        QTest::newRow("tar of nothing") << "tar -cf p -T /dev/null";
        QTest::newRow("gzip of a tar of nothing") << "tar -czf p -T /dev/null";
        QTest::newRow("no byte") << "touch p";
        QTest::newRow("null device") << "ln -s /dev/null p";
    }
    void archiveWithoutEntriesFails() {
        QFETCH(QString, pack);
        const Workshop shop;
        const LogCapture log(4);
        shop.run(pack);
        QCOMPARE(shop.count("p"), 0);
        QCOMPARE(shop.extract("p"), -1);
        QCOMPARE(log.lines(), QStringList{"[ERROR] extractor(166): Failed to calculate total file "
                                          "numbers, ret: 0"});
        QVERIFY(!QFileInfo::exists(shop.out()));
    }

    void whatIsNoArchiveFails() {
        const Workshop shop;
        const LogCapture log(4);
        writeFile(shop.path("p"), "This is a letter, not a package.\n");
        QCOMPARE(shop.extract("p"), -1);
        QCOMPARE(log.lines(),
                 (QStringList{"[ERROR] extractor(72): archive_read_open_filename failed: '" +
                                  readingError(shop.path("p")) + "'",
                              "[ERROR] extractor(166): Failed to calculate total file numbers, "
                              "ret: -1"}));
    }

    void whatCouldBeReadForEverFailsAtOnce_data() {
        QTest::addColumn<QString>("make");
        QTest::newRow("FIFO that nobody writes to") << "mkfifo p";
        QTest::newRow("link to an endless device") << "ln -s /dev/zero p";
    }
    void whatCouldBeReadForEverFailsAtOnce() {
        QFETCH(QString, make);
        const Workshop shop;
        const LogCapture log(4);
        shop.run(make);
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(shop.extract("p"), -1);
        QVERIFY(clock.elapsed() < 5000);
        QCOMPARE(log.lines(),
                 (QStringList{"[ERROR] extractor(72): archive_read_open_filename failed: ''" +
                                  shop.path("p") + "' is not a regular file'",
                              "[ERROR] extractor(166): Failed to calculate total file numbers, "
                              "ret: -1"}));
    }

    void folderFailsInLibarchivesWords() {
        const Workshop shop;
        const LogCapture log(4);
        shop.run("mkdir p");
        QCOMPARE(shop.extract("p"), -1);
        QCOMPARE(log.lines(),
                 (QStringList{"[ERROR] extractor(72): archive_read_open_filename failed: '" +
                                  readingError(shop.path("p")) + "'",
                              "[ERROR] extractor(166): Failed to calculate total file numbers, "
                              "ret: -1"}));
    }

    void linkToTheArchiveServes() {
        const Workshop shop;
        shop.run("touch a; tar -cf real.tar a; ln -s real.tar p");
        QCOMPARE(shop.extract("p"), 0);
        QCOMPARE(listTree(shop.out()), QStringList{"a"});
    }

    // --- damaged archives ---

    void truncatedDataFailsAtItsEntry() {
        const Workshop shop;
        const LogCapture log(4);
        shop.makeTree();
        shop.run("cd tree; tar -cf ../whole.tar INFO data/blocks bin; truncate -s 100000 "
                 "../whole.tar; mv ../whole.tar ../p.tar");
        QCOMPARE(shop.count("p.tar"), 2);
        QCOMPARE(shop.extract("p.tar"), -1);
        // It was the reader that failed, so the writer has nothing to say.
        QCOMPARE(log.lines(),
                 QStringList{"[ERROR] extractor(220): archive_read_extract2 failed: ''"});
        QCOMPARE(readFile(shop.out("INFO")), readFile(shop.path("tree/INFO")));
        QVERIFY(!QFileInfo::exists(shop.out("bin")));
    }

    void truncatedCompressionFails_data() {
        QTest::addColumn<QString>("compress");
        QTest::newRow("gzip") << "gzip";
        QTest::newRow("xz") << "xz";
        QTest::newRow("zstd") << "zstd -q";
        QTest::newRow("lz4") << "lz4 -q -B4"; // in small blocks: half of one tells nothing
    }
    void truncatedCompressionFails() {
        QFETCH(QString, compress);
        const Workshop shop;
        shop.makeTree();
        shop.run("tar -cf - tree/INFO tree/data | " + compress + " > p");
        const qint64 whole = QFileInfo(shop.path("p")).size();
        shop.run("truncate -s " + QString::number(whole / 2) + " p");
        const LogCapture log(4);
        QCOMPARE(shop.extract("p"), -1);
        QCOMPARE(log.lines().size(), 1);
        QVERIFY2(log.lines().first().startsWith("[ERROR] extractor("),
                 qPrintable(log.lines().first()));
        QVERIFY(QFileInfo::exists(shop.out("tree/INFO")));
    }

    void damagedHeaderFailsAfterTheEntriesBeforeIt() {
        const Workshop shop;
        shop.run("echo one > a; echo two > b; echo three > c; tar -cf p.tar a b c");
        // Each entry takes a header and one block of data: this is the header of the second.
        shop.run("printf XXXX | dd of=p.tar bs=1 seek=1026 conv=notrunc status=none");
        const LogCapture log(4);
        QCOMPARE(shop.count("p.tar"), 1);
        QCOMPARE(shop.extract("p.tar"), -1);
        QCOMPARE(log.lines(), QStringList{"[ERROR] extractor(198): archive_read_next_header "
                                          "failed: '" +
                                          readingError(shop.path("p.tar")) + "'"});
        QCOMPARE(listTree(shop.out()), QStringList{"a"});
        QCOMPARE(readFile(shop.out("a")), QByteArray("one\n"));
    }

    void damagedDataFailsByItsChecksum() {
        const Workshop shop;
        const LogCapture log(4);
        writeFile(shop.path("first"), "first");
        writeFile(shop.path("second"), "second, stored as it is");
        shop.run("zip -q -0 p.zip first second; sed -i 's/stored as it is/STORED AS IT IS/' p.zip");
        QCOMPARE(shop.extract("p.zip"), -1);
        QCOMPARE(log.lines(),
                 QStringList{"[ERROR] extractor(220): archive_read_extract2 failed: ''"});
        QCOMPARE(readFile(shop.out("first")), QByteArray("first"));
    }

    void warningOfTheReaderFails() {
        const Workshop shop;
        const LogCapture log(4);
        writeFile(shop.path("a"), "plain");
        writeFile(shop.path(QString::fromUtf8("ü")), "cannot be named in plain ASCII");
        shop.run("tar --format=posix -cf p.tar a ü");
        setlocale(LC_ALL, "C");
        const int result = shop.extract("p.tar");
        const QString warning = readingError(shop.path("p.tar"));
        setlocale(LC_ALL, "C.UTF-8");
        QCOMPARE(result, -1);
        QVERIFY2(warning.contains("locale"), qPrintable(warning));
        QCOMPARE(log.lines(), QStringList{"[ERROR] extractor(198): archive_read_next_header "
                                          "failed: '" +
                                          warning + "'"});
        QCOMPARE(listTree(shop.out()), QStringList{"a"});
    }

    void sameExtractorServesAgain() {
        const Workshop shop;
        shop.run("touch a b; tar -cf p.tar a; tar -cf q.tar b");
        Extractor extractor = shop.extractor("p.tar");
        QCOMPARE(extractor.Extract(), 0);
        QCOMPARE(extractor.Extract(), 0);
        extractor.SetSource(shop.path("q.tar").toUtf8().constData());
        extractor.SetTarget(shop.path("other").toUtf8().constData());
        QCOMPARE(extractor.Extract(), 0);
        QCOMPARE(listTree(shop.out()), QStringList{"a"});
        QCOMPARE(listTree(shop.path("other")), QStringList{"b"});
    }
};

QTEST_GUILESS_MAIN(ExtractorTest)
#include "extractor_test.moc"
