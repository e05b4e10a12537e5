#include "tests/support/command.h"
#include "tests/support/files.h"
#include "tools/doctor/known-errors.h"

#include <QTest>

/// The list of ERROR lines against the sources that write them and the guide that explains them.
class KnownErrorsTest : public QObject {
    Q_OBJECT

private slots:
    void everyErrorLineOfTheSourcesIsKnown();
    void noErrorLineEscapesTheSearch();
    void guideHoldsTheProgramsTableToTheLetter();
    void everyRowOfTheGuideIsTheProgramsOwn();
    void longerTextWinsOverItsBeginning();
    void unknownLineAnswersNull();
};

namespace {

/// The text of every L_ERR line, adjacent literals joined, its line feed taken off.
QStringList printedErrors() {
    const QByteArray printed = runCommand(R"sh(
        perl -0777 -ne '($s) = /LOG_SOURCE "(.*?)"/;
            while (/WRITE_LOG\(\s*L_ERR,\s*LOG_(?:AT\([^,]*,|HERE\()\s*((?:"[^"]*"\s*)+)/g) {
                $t = $1; $t =~ s/"\s*"//g; $t =~ s/^"|"\s*$//g; $t =~ s/\\n$//;
                print "$s: $t\n" }' $(find lib libui libcommon ui-client -name '*.cpp'))sh",
                                          TESSEL_SOURCES);
    return QString::fromUtf8(printed).split('\n', Qt::SkipEmptyParts);
}

QString guide() {
    return QString::fromUtf8(readFile(QStringLiteral(TESSEL_SOURCES "/docs/administration.md")));
}

} // namespace

void KnownErrorsTest::everyErrorLineOfTheSourcesIsKnown() {
    QStringList lines = printedErrors();
    QVERIFY(lines.size() > 40);
    QStringList known;
    for (const doctor::KnownError& error : doctor::knownErrors()) {
        known << QString("%1: %2").arg(error.source, error.format);
    }
    lines.removeDuplicates();
    lines.sort();
    known.sort();
    QCOMPARE(known, lines);
}

// A line whose text is no literal, or whose level comes from elsewhere, would be overlooked above.
void KnownErrorsTest::noErrorLineEscapesTheSearch() {
    const QByteArray uses = runCommand(
        "find lib libui libcommon ui-client -name '*.cpp' | xargs grep -ow L_ERR", TESSEL_SOURCES);
    QCOMPARE(printedErrors().size(), uses.count('\n'));
}

void KnownErrorsTest::guideHoldsTheProgramsTableToTheLetter() {
    QVERIFY2(guide().contains("\n\n" + doctor::errorTable() + "\n"),
             "paste what tessel-doctor --errors prints into docs/administration.md");
}

// A row that was typed by hand, or one of a line that is gone, would stand beside the table.
void KnownErrorsTest::everyRowOfTheGuideIsTheProgramsOwn() {
    const QStringList sources = {"launcher", "cloud-service", "linux/linux-service", "extractor",
                                 "file-op"};
    int rows = 0;
    for (const QString& line : guide().split('\n')) {
        for (const QString& source : sources) {
            if (line.startsWith("| `" + source + '(') || line.startsWith("| `" + source + ':')) {
                QVERIFY2(doctor::errorTable().contains('\n' + line + '\n'), qPrintable(line));
                ++rows;
            }
        }
    }
    QCOMPARE(rows, static_cast<int>(doctor::knownErrors().size()));
}

void KnownErrorsTest::longerTextWinsOverItsBeginning() {
    const doctor::KnownError* error = doctor::findError(
        "cloud-service(1): failed to backup app from 'a' -> 'b' at max retries, exiting");
    QVERIFY(error != nullptr);
    QVERIFY(QString(error->format).endsWith("at max retries, exiting"));
}

void KnownErrorsTest::unknownLineAnswersNull() {
    QVERIFY(doctor::findError("cloud-service(1): the sky is falling") == nullptr);
    QVERIFY(doctor::findError("launcher: Failed to upgrade package") == nullptr);
    QVERIFY(doctor::findError(QString()) == nullptr);
}

QTEST_GUILESS_MAIN(KnownErrorsTest)
#include "known-errors_test.moc"
