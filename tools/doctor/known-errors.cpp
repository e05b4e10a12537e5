#include "tools/doctor/known-errors.h"

#include <QRegularExpression>

#include <cstring>

namespace doctor {

const std::vector<KnownError>& knownErrors() {
    // clang-format off
    static const std::vector<KnownError> errors = {
    {"launcher",
     "Failed to upgrade package",
     "one of the lines before it",
     "as they say; the user has the old copy, if there was one"},
    {"cloud-service",
     "failed to backup app from '%s' -> '%s'",
     "that backup name is taken, mostly by what an interrupted upgrade left, or the folder above is not writable",
     "none if the upgrade went on with the next name, which clears the lower ones; else the owner and mode of ~/.AldaneTessel"},
    {"cloud-service",
     "failed to backup app from '%s' -> '%s' at max retries, exiting",
     "all ten backup names are taken, or ~/.AldaneTessel is not writable by the user",
     "give the folder back to the user; move the _tmp folders away after a look into them"},
    {"cloud-service",
     "failed to create folder: '%s'",
     "no room, no permission in ~/.AldaneTessel, or a file of that name",
     "free space; owner and mode of the folder"},
    {"cloud-service",
     "Failed to extract package, rollback to old installation",
     "the package or the disk; an extractor line before it tells",
     "see that line; the user's old copy is back"},
    {"cloud-service",
     "Failed to extract package, and no old installation to rollback",
     "the package or the disk, at a first installation",
     "see the extractor line before it; a partial folder stays, and the next start tries again"},
    {"cloud-service",
     "snprintf failed (continuing without postfix)",
     "the C library refused to print a number",
     "none known"},
    {"cloud-service",
     "Move failed when move to %s",
     "the former product's folder could not be moved",
     "permissions of both folders"},
    {"cloud-service",
     "Failed to create Aldane Tessel folder",
     "no room or no permission in the home",
     "free space; owner and mode of the home"},
    {"cloud-service",
     "Failed to move data to Aldane Tessel folder",
     "the former product's data could not be moved",
     "permissions of both folders"},
    {"cloud-service",
     "FSCopyPath: failed to copy from '%s' to '%s'",
     "an entry of a folder could not be copied",
     "permissions and room"},
    {"cloud-service",
     "FSCopyPath: failed to stat source '%s'",
     "the source of a copy cannot be looked at",
     "permissions along its path"},
    {"cloud-service",
     "FSCopyPath: source path '%s' does not exist",
     "the source of a copy is missing",
     "none needed"},
    {"cloud-service",
     "FSCopyPath: failed to create dest folder '%s'",
     "no room, or no permission above it",
     "free space; owner and mode of the folder above"},
    {"linux/linux-service",
     "kill: %s (%d)",
     "the process that ui.pid names is not the user's: a stale file",
     "remove ui.pid; the client must remove it when it ends"},
    {"linux/linux-service",
     "cannot start '%s': %s (%d)",
     "the user's limit of open files leaves no room for the start of a program",
     "raise it; ulimit -n tells it, and the launcher needs 16"},
    {"extractor",
     "Invalid Argument",
     "no archive, target or handle was named",
     "a defect of the program that uses the extractor"},
    {"extractor",
     "Invalid argument",
     "no archive or target was named",
     "a defect of the program that uses the extractor"},
    {"extractor",
     "Allocate archive failed",
     "out of memory",
     "memory"},
    {"extractor",
     "Allocate extractor failed",
     "out of memory",
     "memory"},
    {"extractor",
     "archive_read_open_filename failed: '%s'",
     "the package is missing, unreadable, no regular file, or no archive",
     "put a sound package into the installation, readable for all"},
    {"extractor",
     "Failed to calculate total file numbers, ret: %d",
     "-1: the package did not open, see the line before; 0: it holds no readable entry",
     "a sound package"},
    {"extractor",
     "the archive ended after %d of %d entries",
     "the package was written over while it was read",
     "none needed: the old copy is back; replace packages by a rename"},
    {"extractor",
     "Failed to read file '%s' ('%s')",
     "the package vanished between counting and unpacking",
     "start again"},
    {"extractor",
     "archive_read_next_header failed: '%s'",
     "the archive is damaged, cut short, or has an entry that its reader warns of",
     "a sound package"},
    {"extractor",
     "archive_entry_pathname failed",
     "a name that the user's locale cannot express; the next line of the log follows without a line feed",
     "a package with ASCII names"},
    {"extractor",
     "archive_read_extract2 failed: '%s'",
     "no room, no permission, '..' in a name, a hard link, or damaged data (the text may be empty)",
     "room and permissions; a sound package"},
    {"extractor",
     "archive_write_finish_entry failed: '%s'",
     "the disk, at the end of a file",
     "room"},
    {"extractor",
     "archive_read_data_block failed: '%s'",
     "the archive is damaged",
     "a sound package"},
    {"extractor",
     "archive_write_data_block failed: '%s'",
     "the disk",
     "room and permissions"},
    {"file-op",
     "CopyFile: open(%s): %s (%d)",
     "a file could not be opened for a copy",
     "permissions and room, as the text says"},
    {"file-op",
     "CopyFile: write: %s (%d)",
     "the disk refused data",
     "room, quota, the disk"},
    {"file-op",
     "CopyFile: read: %s (%d)",
     "the disk could not be read",
     "the disk"},
    {"file-op",
     "FSCopy: malloc(%d): %s (%d)",
     "out of memory",
     "memory"},
    {"file-op",
     "FSCopy: '%s' and '%s' are the same file",
     "a link makes source and target of a copy one file",
     "remove the link"},
    {"file-op",
     "FSMKDir: Failed to to file info '%s'",
     "a folder above is not readable, or is a file",
     "permissions along the path"},
    {"file-op",
     "FSMKDir: Create a folder but local file system is not directory '%s' (%d)",
     "a file, or a link to a folder, stands where a folder belongs",
     "move it away; a link is not followed on purpose"},
    {"file-op",
     "path = %s errno : %s",
     "the folder could not be made",
     "as the text says"},
    {"file-op",
     "FSOpenDir: Failed to get info for '%s'",
     "a folder cannot be looked at",
     "permissions along the path"},
    {"file-op",
     "FSOpenDir: Failed to open directory '%s'. %s",
     "a folder cannot be read; it stays in place",
     "its owner and mode"},
    {"file-op",
     "FSOpenDir: Failed to read directory '%s'. %s",
     "the disk failed while a folder was read",
     "the disk"},
    {"file-op",
     "mkstemp(%s): %s",
     "no temporary file could be made",
     "permissions and room, as the text says"},
    {"file-op",
     "FSChown: Failed to chown '%s' (code: %d, msg: %s)",
     "an owner could not be set",
     "as the text says"},
    {"file-op",
     "FSCreateSymbolicLink: Failed to create symbolic link '%s' -> '%s' (code: %d, msg: %s)",
     "a link could not be made",
     "as the text says"},
    {"file-op",
     "FSReadSymbolicLink: Failed to read symbolic link '%s' (code: %d, msg: %s)",
     "a link could not be read",
     "as the text says"},
    {"file-op",
     "FSReadSymbolicLink: path of '%s' is more than %d",
     "a link's text is too long",
     "a shorter link"},
    {"file-op",
     "isMountPoint: Failed to get file system info '%s'. %s",
     "a file system could not be asked",
     "as the text says"},
    {"file-op",
     "IsSupportLargeFile: Failed to get file system info '%s'. %s",
     "a file system could not be asked",
     "as the text says"},
    {"file-op",
     "Giving a root '%s' whose length is larger then target's '%s'.",
     "a caller named folders that do not belong together",
     "a defect of the program"},
    {"file-op",
     "root '%s' is not a parent folder of target '%s'",
     "a caller named folders that do not belong together",
     "a defect of the program"},
    };
    // clang-format on
    return errors;
}

namespace {

/// Matches what `error`'s source prints. A missing line feed lets the next line follow, so the
/// end is open.
QRegularExpression patternOf(const KnownError& error) {
    QString pattern = QRegularExpression::escape(QString::fromLatin1(error.format));
    pattern.replace("\\%s", ".*").replace("\\%d", "-?[0-9]+");
    return QRegularExpression('^' + QRegularExpression::escape(QString::fromLatin1(error.source)) +
                              "\\([0-9]+\\): " + pattern);
}

} // namespace

const KnownError* findError(const QString& line) {
    const KnownError* best = nullptr;
    for (const KnownError& error : knownErrors()) {
        // One text may begin another one: the longer one says more.
        if (patternOf(error).match(line).hasMatch() &&
            (best == nullptr || strlen(error.format) > strlen(best->format))) {
            best = &error;
        }
    }
    return best;
}

QString errorTable() {
    QString table = "| line | cause | remedy |\n|---|---|---|\n";
    for (const KnownError& error : knownErrors()) {
        table += QString("| `%1: %2` | %3 | %4 |\n")
                     .arg(error.source, error.format, error.cause, error.remedy);
    }
    return table;
}

} // namespace doctor
