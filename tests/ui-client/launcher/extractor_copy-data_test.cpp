#include "tests/support/command.h"
#include "tests/support/files.h"
#include "tests/support/log-capture.h"
#include "ui-client/launcher/extractor.h"

#include <QtTest>

#include <archive.h>
#include <archive_entry.h>

#include <memory>

namespace {

struct ReaderFree {
    void operator()(archive* reader) const { archive_read_free(reader); }
};
struct WriterFree {
    void operator()(archive* writer) const { archive_write_free(writer); }
};
using ReaderPtr = std::unique_ptr<archive, ReaderFree>;
using WriterPtr = std::unique_ptr<archive, WriterFree>;

} // namespace

class ExtractorCopyDataTest : public QObject {
    Q_OBJECT

private slots:
    void init() { m_folder = std::make_unique<QTemporaryDir>(); }

    void nullHandleIsRefused_data() {
        QTest::addColumn<bool>("reader");
        QTest::addColumn<bool>("writer");
        QTest::newRow("neither") << false << false;
        QTest::newRow("no reader") << false << true;
        QTest::newRow("no writer") << true << false;
    }
    void nullHandleIsRefused() {
        QFETCH(bool, reader);
        QFETCH(bool, writer);
        const LogCapture log;
        const ReaderPtr from(reader ? archive_read_new() : nullptr);
        const WriterPtr to(writer ? archive_write_disk_new() : nullptr);
        QCOMPARE(Extractor::copy_data(from.get(), to.get()), -1);
        QCOMPARE(log.lines(), QStringList{"[ERROR] extractor(22): Invalid Argument"});
    }

    void dataOfSeveralBlocksIsCopied() {
        QByteArray blocks;
        for (int i = 0; blocks.size() < 1024 * 1024; ++i) {
            blocks += QByteArray::number(i * 2654435761U);
        }
        const LogCapture log;
        QCOMPARE(copy(blocks, "tar -czf p a"), 0);
        QCOMPARE(readFile(path("copy")), blocks);
        QCOMPARE(log.lines(), QStringList());
    }

    void entryWithoutDataIsAtItsEndAtOnce() {
        QCOMPARE(copy("", "tar -cf p a"), 0);
        QCOMPARE(readFile(path("copy")), QByteArray());
    }

    void holesStayWhereTheyAre() {
        QByteArray text(2 * 1024 * 1024, '\0');
        text.replace(0, 4, "head").replace(1024 * 1024, 4, "tail");
        QCOMPARE(copy(text, "fallocate -d a; tar -Scf p a"), 0);
        QCOMPARE(readFile(path("copy")), text);
    }

    void truncatedDataFailsWithTheReadersText() {
        const LogCapture log;
        QCOMPARE(copy(QByteArray(100000, 'x'), "tar -cf p a; truncate -s 50000 p"), -1);
        QCOMPARE(log.lines(),
                 QStringList{"[ERROR] extractor(33): archive_read_data_block failed: '" +
                             m_readerError + "'"});
        QVERIFY(readFile(path("copy")).startsWith("xxxx"));
    }

    void refusedDataFailsWithTheWritersText() {
        const LogCapture log;
        QCOMPARE(copy(QByteArray(100000, 'x'), "tar -cf p a", 10), -1);
        QCOMPARE(log.lines(),
                 QStringList{"[ERROR] extractor(38): archive_write_data_block failed: '" +
                             m_writerError + "'"});
    }

private:
    QString path(const QString& name) const { return m_folder->filePath(name); }

    /// Packs `content` as the file "a" with the command `pack` into the archive "p", and copies the
    /// data of that entry to the file "copy", which is announced with `size` bytes where given.
    int copy(const QByteArray& content, const QString& pack, int size = -1) {
        writeFile(path("a"), content);
        runCommand(pack, m_folder->path());
        const ReaderPtr reader(archive_read_new());
        archive_read_support_filter_all(reader.get());
        archive_read_support_format_all(reader.get());
        archive_entry* entry = nullptr;
        if (archive_read_open_filename(reader.get(), qPrintable(path("p")), 10240) != ARCHIVE_OK ||
            archive_read_next_header(reader.get(), &entry) != ARCHIVE_OK) {
            throw std::runtime_error("cannot open the archive");
        }
        archive_entry_set_pathname(entry, qPrintable(path("copy")));
        if (size >= 0) {
            archive_entry_set_size(entry, size);
        }
        const WriterPtr writer(archive_write_disk_new());
        if (archive_write_header(writer.get(), entry) != ARCHIVE_OK) {
            throw std::runtime_error("cannot create the file");
        }
        const int result = Extractor::copy_data(reader.get(), writer.get());
        m_readerError = archive_error_string(reader.get());
        m_writerError = archive_error_string(writer.get());
        archive_write_finish_entry(writer.get());
        return result;
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_readerError; // what libarchive itself says of the last copy's handles
    QString m_writerError;
};

QTEST_GUILESS_MAIN(ExtractorCopyDataTest)
#include "extractor_copy-data_test.moc"
