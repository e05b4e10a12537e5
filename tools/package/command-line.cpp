#include "tools/package/command-line.h"

#include "tools/package/layout.h"

#include <QCommandLineOption>
#include <QCommandLineParser>

#include <climits>
#include <filesystem>
#include <map>

namespace package {

namespace {

const QCommandLineOption formatOption("format", "build: tar.zst (the usual), zip or tar.",
                                      "format");
const QCommandLineOption levelOption("level",
                                     "build: how hard to compress: 1 to 19 for tar.zst (usually 9),"
                                     " 0 to 9 for zip (usually 6).",
                                     "level");
const QCommandLineOption
    newerOption("newer-than", "Refuse a package whose build number is not greater than N.", "N");

constexpr char description[] = R"(
Packs a client for the launcher, and says whether a package will install.

  tessel-package build [options] CLIENT R
      Packs the folder CLIENT, a client as it shall stand in the user's home, into
      R/package/skylark.tpx and writes R/INFO, equal to the one inside. R is the
      installation tree that holds bin/launcher. An old package stays in place
      until the new one is complete on the disk.

  tessel-package check [options] R
  tessel-package check [options] FILE
      Applies the same rules to a finished package, that of the tree R or the
      archive FILE, unpacks it with the launcher's own code, and compares every
      name, content, link and run bit. For R also: R/INFO equals the one inside,
      and every user may read both. Ends with the line "sound" or "not sound".

What a client must bring:
  INFO                  INI text; group "Version" with build_version=N, N from 1
                        to 2147483647. Users are upgraded when N has grown. It is
                        packed with build_version as its last line.
  bin/cloud-tessel-ui   the client's executable, with its run bit
  package/start-stop    a script with "#!", its run bit, and Unix line ends

What a package must not hold: hard links (a folder's are packed as copies),
devices, FIFOs, sockets; links that are absolute or lead out of the client; names
outside printable ASCII, absolute, with "..", or given twice; set-id bits; folders
without rwx and files without rw for their owner. Each finding is one line on
standard error: what, which rule it breaks, what mends it. All are told at once,
and nothing is written.

The same client gives the same package, byte by byte, whoever builds it, when and
where: entries in a fixed order, INFO and before it the executable at the end, no
owners, no times.

The summary on standard output ends with the SHA-256 of the package. Look at the
share of the largest file: the launcher's progress bar moves once an entry.
)";

constexpr char epilogue[] = R"(
Exit status:
  0  built; sound
  1  not built, nothing written; not sound
  2  unusable arguments

Environment:
  TMPDIR  where check unpacks; /var/tmp without it. It needs the client's size.
          What a killed check left there goes with the next one's work.

Examples:
  tessel-package build ~/client /opt/Aldane/AldaneTessel
  tessel-package build --newer-than 1234 --level 19 ~/client ./R
  tessel-package check /opt/Aldane/AldaneTessel
)";

Command unusable(const QString& text) {
    Command command;
    command.text = text;
    return command;
}

bool isFolder(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_directory(path, error);
}

// A package inside the client would be packed into the next one.
bool liesWithin(const std::string& path, const std::string& folder) {
    std::error_code error;
    const auto inner = std::filesystem::weakly_canonical(path, error);
    const auto outer = std::filesystem::weakly_canonical(folder, error);
    return (inner.native() + "/").compare(0, outer.native().size() + 1, outer.native() + "/") == 0;
}

std::optional<int> numberOf(const QString& text, int lowest, int highest) {
    bool isNumber = false;
    const int number = text.toInt(&isNumber);
    return isNumber && number >= lowest && number <= highest ? std::optional<int>(number)
                                                             : std::nullopt;
}

/// \return what is wrong with it; empty where nothing is.
QString readFormat(const QCommandLineParser& parser, PackageFormat& format) {
    static const std::map<QString, PackageFormat::Kind> kinds = {
        {"tar.zst", PackageFormat::TarZstd},
        {"zip", PackageFormat::Zip},
        {"tar", PackageFormat::Tar}};
    if (parser.isSet(formatOption)) {
        const auto kind = kinds.find(parser.value(formatOption));
        if (kind == kinds.end()) {
            return "--format is one of tar.zst, zip and tar";
        }
        format.kind = kind->second;
    }
    if (parser.isSet(levelOption)) {
        const bool isZip = format.kind == PackageFormat::Zip;
        // Above 19 every user's launcher would need up to 128 MiB to unpack it.
        format.level = numberOf(parser.value(levelOption), isZip ? 0 : 1, isZip ? 9 : 19);
        if (format.kind == PackageFormat::Tar) {
            return "--level means nothing for tar, which does not compress";
        }
        if (!format.level) {
            return isZip ? "--level is 0 to 9 for zip" : "--level is 1 to 19 for tar.zst";
        }
    }
    return {};
}

Command buildCommand(const QCommandLineParser& parser, const QStringList& paths) {
    if (paths.size() != 2) {
        return unusable("build takes two paths, CLIENT and R");
    }
    Command command;
    command.kind = Command::Build;
    command.client = paths[0].toStdString();
    command.root = paths[1].toStdString();
    if (!isFolder(command.client)) {
        return unusable("no such folder: " + paths[0]);
    }
    if (liesWithin(command.root + packageFolder, command.client)) {
        return unusable("the package would lie inside the client: " + paths[1]);
    }
    const QString trouble = readFormat(parser, command.format);
    return trouble.isEmpty() ? command : unusable(trouble);
}

Command checkCommand(const QCommandLineParser& parser, const QStringList& paths) {
    if (paths.size() != 1) {
        return unusable("check takes one path, R or a package file");
    }
    if (parser.isSet(formatOption) || parser.isSet(levelOption)) {
        return unusable("--format and --level are for build");
    }
    Command command;
    command.kind = Command::Check;
    command.file = paths[0].toStdString();
    if (isFolder(command.file)) {
        command.root = command.file;
        command.file += packageFile;
    } else if (!std::filesystem::is_regular_file(command.file)) {
        return unusable("no such folder or file: " + paths[0]);
    }
    return command;
}

} // namespace

Command parseCommandLine(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(description);
    const QCommandLineOption help({"h", "help"}, "Tell all this.");
    const QCommandLineOption version({"v", "version"}, "Tell the version.");
    parser.addOptions({formatOption, levelOption, newerOption, help, version});
    parser.addPositionalArgument("command", "build or check.", "build|check");
    parser.addPositionalArgument("paths", "CLIENT and R; R or FILE.", "path...");
    if (!parser.parse(arguments)) {
        return unusable(parser.errorText());
    }
    Command command;
    command.kind = Command::Tell;
    if (parser.isSet(help)) {
        command.text = parser.helpText() + epilogue;
        return command;
    }
    if (parser.isSet(version)) {
        command.text = QCoreApplication::applicationName() + ' ' +
                       QCoreApplication::applicationVersion() + '\n';
        return command;
    }
    QStringList paths = parser.positionalArguments();
    const QString verb = paths.isEmpty() ? QString() : paths.takeFirst();
    if (verb != "build" && verb != "check") {
        return unusable("the first argument is build or check");
    }
    command = verb == "build" ? buildCommand(parser, paths) : checkCommand(parser, paths);
    if (command.kind != Command::Unusable && parser.isSet(newerOption)) {
        command.newerThan = numberOf(parser.value(newerOption), 0, INT_MAX);
        if (!command.newerThan) {
            return unusable("--newer-than takes a number of 0 to " + QString::number(INT_MAX));
        }
    }
    return command;
}

} // namespace package
