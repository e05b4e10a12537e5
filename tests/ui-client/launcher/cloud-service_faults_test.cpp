// What no real system brings about: the linker sends two calls of the code under test through the
// functions below.
#include "tests/support/command.h"
#include "tests/support/files.h"
#include "tests/support/log-capture.h"
#include "tests/support/paths.h"
#include "tests/ui-client/launcher/plain-service.h"

#include <QtTest>

#include <dirent.h>

#include <cstdarg>
#include <cstdio>

namespace {

bool formatting_fails = false;
bool types_are_unknown = false;

} // namespace

extern "C" {
int __wrap_snprintf(char* text, size_t size, const char* format, ...) {
    if (formatting_fails) {
        memset(text, 'x', size); // what a failure leaves is anybody's guess
        return -1;
    }
    va_list args;
    va_start(args, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the checker overlooks va_start
    const int length = vsnprintf(text, size, format, args);
    va_end(args);
    return length;
}

int __real_readdir_r(DIR* folder, dirent* entry, dirent** result);
int __wrap_readdir_r(DIR* folder, dirent* entry, dirent** result) {
    const int error = __real_readdir_r(folder, entry, result);
    if (types_are_unknown && error == 0 && *result != nullptr) {
        (*result)->d_type = DT_UNKNOWN;
    }
    return error;
}
}

class CloudServiceFaultsTest : public QObject {
    Q_OBJECT

private slots:
    void backupNameGoesWithoutItsNumberWhereThatCannotBeFormatted() {
        const LogCapture log;
        formatting_fails = true;
        const ustring name = GetAppBackupDir("/home/u/app", 3);
        formatting_fails = false;
        QCOMPARE(toText(name), QString("/home/u/app_tmp"));
        // The line has no end: the next one goes on where it stopped.
        PlainService().FSCopyPath("", "");
        QVERIFY(log.unnumbered().first().startsWith("[ERROR] cloud-service(#): snprintf failed "
                                                    "(continuing without postfix)"));
        QVERIFY(log.lines().first().contains("[DEBUG] cloud-service("));
    }

    void firstBackupNameNeedsNoFormatting() {
        const LogCapture log;
        formatting_fails = true;
        const ustring name = GetAppBackupDir("/home/u/app", 0);
        formatting_fails = false;
        QCOMPARE(toText(name), QString("/home/u/app_tmp"));
        QCOMPARE(log.lines(), QStringList());
    }

    void fileSystemThatTellsNoTypesIsCopiedToo() {
        const QTemporaryDir folder;
        runCommand("mkdir -p a/sub/deeper; echo 1 > a/one; echo 2 > a/sub/deeper/two",
                   folder.path());
        types_are_unknown = true;
        const int result =
            PlainService().FSCopyPath(toPath(folder.filePath("a")), toPath(folder.filePath("b")));
        types_are_unknown = false;
        QCOMPARE(result, 0);
        runCommand("diff -r a b", folder.path());
    }
};

QTEST_GUILESS_MAIN(CloudServiceFaultsTest)
#include "cloud-service_faults_test.moc"
