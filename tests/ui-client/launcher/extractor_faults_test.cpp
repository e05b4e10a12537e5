// What no real archive brings about: the linker sends the archive calls of the code under test
// through the functions below, each of which hands on to the real one unless a test says otherwise.
#include "tests/support/command.h"
#include "tests/support/files.h"
#include "tests/support/log-capture.h"
#include "ui-client/launcher/adapter.h"
#include "ui-client/launcher/extractor.h"
#include "ui-client/launcher/texts/strtab.h"

#include <QSignalSpy>
#include <QtTest>

#include <archive.h>
#include <archive_entry.h>

#include <unistd.h>

#include <memory>

namespace {

/// What the wrapped calls do and have seen, fresh for every test.
struct Calls {
    int failingReaderNew = 0; // the number of the call that fails, from 1; 0 is none
    int failingWriterNew = 0;
    int failingOpen = 0;
    int failingFinish = 0;
    int failingExtract = 0;
    bool isEmptiedAtUnpacking = false;
    bool nameless = false;

    int readerNew = 0;
    int writerNew = 0;
    int open = 0;
    int finish = 0;
    int extract = 0;
    int filterAll = 0;
    int compressionAll = 0;
    int skip = 0;
    int readerFree = 0;
    int writerFree = 0;
    int readerClose = 0;
    int options = 0;
    QList<size_t> blockSizes;
};
Calls calls;

} // namespace

extern "C" {
archive* __real_archive_read_new();
archive* __wrap_archive_read_new() {
    return ++calls.readerNew == calls.failingReaderNew ? nullptr : __real_archive_read_new();
}

archive* __real_archive_write_disk_new();
archive* __wrap_archive_write_disk_new() {
    return ++calls.writerNew == calls.failingWriterNew ? nullptr : __real_archive_write_disk_new();
}

int __real_archive_read_open_filename(archive* reader, const char* path, size_t block);
int __wrap_archive_read_open_filename(archive* reader, const char* path, size_t block) {
    calls.blockSizes << block;
    if (++calls.open == calls.failingOpen) {
        archive_set_error(reader, ENOENT, "gone meanwhile");
        return ARCHIVE_FATAL;
    }
    if (calls.isEmptiedAtUnpacking && calls.open == 2 && truncate(path, 0) != 0) {
        return ARCHIVE_FATAL;
    }
    return __real_archive_read_open_filename(reader, path, block);
}

int __real_archive_write_disk_set_options(archive* writer, int flags);
int __wrap_archive_write_disk_set_options(archive* writer, int flags) {
    calls.options = flags;
    return __real_archive_write_disk_set_options(writer, flags);
}

int __real_archive_read_support_filter_all(archive* reader);
int __wrap_archive_read_support_filter_all(archive* reader) {
    ++calls.filterAll;
    return __real_archive_read_support_filter_all(reader);
}

int __real_archive_read_support_compression_all(archive* reader);
int __wrap_archive_read_support_compression_all(archive* reader) {
    ++calls.compressionAll;
    return __real_archive_read_support_compression_all(reader);
}

int __real_archive_read_data_skip(archive* reader);
int __wrap_archive_read_data_skip(archive* reader) {
    ++calls.skip;
    return __real_archive_read_data_skip(reader);
}

const char* __real_archive_entry_pathname(archive_entry* entry);
const char* __wrap_archive_entry_pathname(archive_entry* entry) {
    return calls.nameless ? nullptr : __real_archive_entry_pathname(entry);
}

int __real_archive_read_extract2(archive* reader, archive_entry* entry, archive* writer);
int __wrap_archive_read_extract2(archive* reader, archive_entry* entry, archive* writer) {
    const int result = __real_archive_read_extract2(reader, entry, writer);
    if (++calls.extract != calls.failingExtract) {
        return result;
    }
    archive_set_error(writer, EPERM, "no more than a warning");
    return ARCHIVE_WARN;
}

int __real_archive_write_finish_entry(archive* writer);
int __wrap_archive_write_finish_entry(archive* writer) {
    if (++calls.finish != calls.failingFinish) {
        return __real_archive_write_finish_entry(writer);
    }
    archive_set_error(writer, ENOSPC, "disk full");
    return ARCHIVE_WARN;
}

int __real_archive_read_close(archive* reader);
int __wrap_archive_read_close(archive* reader) {
    ++calls.readerClose;
    return __real_archive_read_close(reader);
}

int __real_archive_read_free(archive* reader);
int __wrap_archive_read_free(archive* reader) {
    ++calls.readerFree;
    return __real_archive_read_free(reader);
}

int __real_archive_write_free(archive* writer);
int __wrap_archive_write_free(archive* writer) {
    ++calls.writerFree;
    return __real_archive_write_free(writer);
}
}

class ExtractorFaultsTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { StrTable::InitStrTable(); }

    void init() {
        calls = Calls();
        m_folder = std::make_unique<QTemporaryDir>();
        runCommand("echo one > a; echo two > b; tar -cf p.tar a b", m_folder->path());
        m_log = std::make_unique<LogCapture>(4);
    }

    void cleanup() {
        m_log.reset();
        // Every handle that was had is given back, whatever happened.
        QCOMPARE(calls.readerFree, calls.readerNew - (calls.failingReaderNew > 0 ? 1 : 0));
        QCOMPARE(calls.writerFree, calls.writerNew - (calls.failingWriterNew > 0 ? 1 : 0));
    }

    void librariesFacilitiesAreUsedAsAgreed() {
        QCOMPARE(extractor().Extract(), 0);
        QCOMPARE(calls.options, 0x2210);
        QCOMPARE(calls.filterAll, 1);      // to count
        QCOMPARE(calls.compressionAll, 1); // to unpack
        QCOMPARE(calls.blockSizes, (QList<size_t>{10240, 10240}));
        QCOMPARE(calls.skip, 2); // to count
        QCOMPARE(calls.readerClose, 0);
        QCOMPARE(calls.finish, 2);
    }

    void listClosesItsReader() {
        const StdoutCapture output;
        QCOMPARE(extractor().List(), 0);
        QCOMPARE(output.text(), QByteArray("a\nb\n"));
        QCOMPARE(calls.skip, 2);
        QCOMPARE(calls.readerClose, 1);
        QCOMPARE(calls.filterAll, 1);
        QCOMPARE(calls.blockSizes, QList<size_t>{10240});
    }

    void noReaderToCount() {
        calls.failingReaderNew = 1;
        QCOMPARE(extractor().Count(), -1);
        QCOMPARE(m_log->lines(), QStringList{"[ERROR] extractor(60): Allocate archive failed"});
    }

    void noReaderToList() {
        calls.failingReaderNew = 1;
        QCOMPARE(extractor().List(), -1);
        QCOMPARE(m_log->lines(), QStringList{"[ERROR] extractor(101): Allocate archive failed"});
    }

    void noReaderToExtract() {
        calls.failingReaderNew = 2;
        QCOMPARE(extractor().Extract(), -1);
        QCOMPARE(m_log->lines(), QStringList{"[ERROR] extractor(171): Allocate extractor failed"});
        QCOMPARE(listTree(path("out")), QStringList());
    }

    void noWriterToExtract() {
        calls.failingWriterNew = 1;
        QCOMPARE(extractor().Extract(), -1);
        QCOMPARE(m_log->lines(), QStringList{"[ERROR] extractor(176): Allocate extractor failed"});
        QCOMPARE(listTree(path("out")), QStringList());
    }

    void archiveThatVanishesAfterTheCount() {
        calls.failingOpen = 2;
        QCOMPARE(extractor().Extract(), -1);
        QCOMPARE(m_log->lines(), QStringList{"[ERROR] extractor(189): Failed to read file '" +
                                             path("p.tar") + "' ('gone meanwhile')"});
    }

    void archiveThatIsEmptiedAfterTheCountFails() {
        calls.isEmptiedAtUnpacking = true;
        QCOMPARE(extractor().Extract(), -1);
        QCOMPARE(m_log->unnumbered(),
                 QStringList("[ERROR] extractor(#): the archive ended after 0 of 2 entries"));
    }

    void entryWithoutNameFailsInALineWithoutEnd() {
        calls.nameless = true;
        QCOMPARE(extractor().Extract(), -1);
        // The next line goes on where this one stopped.
        QCOMPARE(extractor().Count(), 2);
        Extractor().Count();
        QCOMPARE(m_log->lines().size(), 1);
        QVERIFY(m_log->lines().first().startsWith(
            "[ERROR] extractor(213): archive_entry_pathname failed"));
        QVERIFY(m_log->lines().first().endsWith("[ERROR] extractor(55): Invalid argument"));
        QCOMPARE(listTree(path("out")), QStringList());
    }

    void entryWithoutNameIsListedAsAnEmptyLine() {
        calls.nameless = true;
        const StdoutCapture output;
        QCOMPARE(extractor().List(), 0);
        QCOMPARE(output.text(), QByteArray("\n\n"));
    }

    void warningOfTheWriterFails() {
        calls.failingExtract = 2;
        QSignalSpy progress(Notify_Adapter::GetInstance(), &Notify_Adapter::sigUpdateProgress);
        QCOMPARE(extractor().Extract(), -1);
        QCOMPARE(m_log->lines(), QStringList{"[ERROR] extractor(220): archive_read_extract2 "
                                             "failed: 'no more than a warning'"});
        QCOMPARE(progress.count(), 1);
        QVERIFY(QFileInfo::exists(path("out/a")));
    }

    void entryThatCannotBeFinishedFailsAfterItsProgress() {
        calls.failingFinish = 2;
        QSignalSpy progress(Notify_Adapter::GetInstance(), &Notify_Adapter::sigUpdateProgress);
        QCOMPARE(extractor().Extract(), -1);
        QCOMPARE(m_log->lines(), QStringList{"[ERROR] extractor(228): archive_write_finish_entry "
                                             "failed: 'disk full'"});
        QCOMPARE(progress.count(), 2);
        QCOMPARE(listTree(path("out")), (QStringList{"a", "b"}));
    }

private:
    QString path(const QString& name) const { return m_folder->filePath(name); }

    Extractor extractor() const {
        Extractor extractor;
        extractor.SetSource(path("p.tar").toUtf8().constData());
        extractor.SetTarget(path("out").toUtf8().constData());
        return extractor;
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<LogCapture> m_log;
};

QTEST_GUILESS_MAIN(ExtractorFaultsTest)
#include "extractor_faults_test.moc"
