#include "tools/doctor/command-line.h"

#include "tools/doctor/known-errors.h"

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>

namespace doctor {

namespace {

constexpr char description[] = R"(
Tells why a user's client does not start or upgrade. Looks, and changes nothing.

For the installation: the programs and plug-ins, INFO, the package (read to its
end), the level switch file of the log. For each home: both versions and what the
next start does; whether a launcher runs; ui.pid, and whether the process that it
names lives and is the client; the copy and the backup folders, which of them is
complete and how large; owner, permissions and links along the path; free space;
the last errors of the log, each with its cause and remedy.

A copy is complete when it has an INFO with a build_version, bin/cloud-tessel-ui
and package/start-stop with their run bits and, where its build is the packaged
one, every entry of the package in its size.

A finding that needs somebody's hand is marked FAULT and has its remedy below it.
Errors in the log are faults only while the copy is not whole.)";

constexpr char epilogue[] = R"(
Repair:
  --repair offers what loses nothing: a complete backup gets its name back where
  the live copy is not complete (that one is kept under a backup's name), and
  backups are removed once the live copy equals the package. It shows the steps
  first, asks on standard input, and only "yes" lets it begin. It refuses while a
  launcher runs. Run it as the home's own user.

Exit status:
  0  healthy
  1  findings
  2  unusable arguments

Files:
  R/INFO, R/package/skylark.tpx, R/log/launcher.debug
  ~/.AldaneTessel/AldaneTessel.app and AldaneTessel.app_tmp, _tmp1 to _tmp9
  ~/.AldaneTessel/ui.pid, ~/.AldaneTessel/log/launcher.log

Examples:
  tessel-doctor
  sudo tessel-doctor --home /home/anna
  sudo tessel-doctor --all-users --json
  sudo -u anna tessel-doctor --home /home/anna --repair
)";

Command unusable(const QString& text) {
    Command command;
    command.text = text;
    return command;
}

Command tell(const QString& text) {
    Command command;
    command.kind = Command::Tell;
    command.text = text;
    return command;
}

/// What is wrong with the command; empty where nothing is.
QString troubleOf(const Command& command) {
    if (command.isForAllUsers && !command.home.isEmpty()) {
        return "--home and --all-users exclude each other";
    }
    if (command.isRepair && (command.isForAllUsers || command.isJson)) {
        return "--repair asks about one home, in plain text";
    }
    if (!command.home.isEmpty() && !QFileInfo(command.home).isDir()) {
        return "no such folder: " + command.home;
    }
    if (!command.root.isEmpty() && !QFileInfo(command.root).isDir()) {
        return "no such folder: " + command.root;
    }
    return {};
}

} // namespace

Command parseCommandLine(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(description);
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    const QCommandLineOption home("home", "Look at the home folder PATH, usually the caller's.",
                                  "PATH");
    const QCommandLineOption root(
        "installation", "The installation tree, usually the one that holds this program.", "R");
    const QCommandLineOption all("all-users", "Look at the home of every user who has a copy.");
    const QCommandLineOption json("json", "Answer in JSON.");
    const QCommandLineOption fix("repair", "Offer a repair that loses nothing; see below.");
    const QCommandLineOption errors("errors",
                                    "List every error line that the launcher can write, with cause "
                                    "and remedy.");
    parser.addOptions({home, root, all, json, fix, errors});
    if (!parser.parse(arguments)) {
        return unusable(parser.errorText());
    }
    if (parser.isSet(help)) {
        return tell(parser.helpText() + epilogue);
    }
    if (parser.isSet(version)) {
        return tell("tessel-doctor " + QCoreApplication::applicationVersion() + '\n');
    }
    if (parser.isSet(errors)) {
        return tell(errorTable());
    }
    if (!parser.positionalArguments().isEmpty()) {
        return unusable("no use for '" + parser.positionalArguments().first() + "'");
    }
    if ((parser.isSet(home) && parser.value(home).isEmpty()) ||
        (parser.isSet(root) && parser.value(root).isEmpty())) {
        return unusable("an empty path");
    }
    Command command;
    command.kind = Command::Examine;
    command.home = parser.value(home);
    command.root = parser.value(root);
    command.isForAllUsers = parser.isSet(all);
    command.isJson = parser.isSet(json);
    command.isRepair = parser.isSet(fix);
    const QString trouble = troubleOf(command);
    return trouble.isEmpty() ? command : unusable(trouble);
}

} // namespace doctor
