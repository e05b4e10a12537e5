#include "tools/package/command-line.h"
#include "tools/package/layout.h"
#include "tools/package/package-builder.h"
#include "tools/package/package-checker.h"

#include <QCoreApplication>
#include <QTextCodec>

#include <sys/stat.h>

#include <clocale>
#include <cstdio>

using package::Command;
using package::Outcome;

namespace {

constexpr int done = 0;
constexpr int refused = 1;
constexpr int unusableArguments = 2;

void complain(const std::string& text) {
    fprintf(stderr, "tessel-package: %s\n", text.c_str());
}

Outcome run(const Command& command) {
    if (command.kind == Command::Build) {
        package::PackageBuilder builder(command.client, command.root);
        builder.setFormat(command.format);
        builder.setNewerThan(command.newerThan);
        return builder.build();
    }
    package::PackageChecker checker(command.file);
    checker.setNewerThan(command.newerThan);
    if (!command.root.empty()) {
        checker.setInfo(command.root + package::infoFile);
    }
    return checker.check();
}

int report(const Command& command, const Outcome& outcome) {
    for (const std::string& note : outcome.notes) {
        complain("note: " + package::printable(note));
    }
    for (const package::Finding& finding : outcome.findings) {
        complain(package::toLine(finding));
    }
    if (outcome.summary) {
        fputs(package::toText(*outcome.summary).c_str(), stdout);
    }
    if (command.kind == Command::Check) {
        puts(outcome.findings.empty() ? "sound" : "not sound");
    }
    return outcome.findings.empty() ? done : refused;
}

} // namespace

int main(int argc, char** argv) {
    // Paths are UTF-8 whatever the locale, and nothing else depends on it.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName("tessel-package");
    QCoreApplication::setApplicationVersion(TESSEL_VERSION);
    setlocale(LC_ALL, "C");
    // Every user's launcher reads what is written here, whatever umask the administrator has.
    umask(S_IWGRP | S_IWOTH);

    const Command command = package::parseCommandLine(QCoreApplication::arguments());
    if (command.kind == Command::Unusable) {
        complain(package::printable(command.text.toStdString()));
        complain("see tessel-package --help");
        return unusableArguments;
    }
    if (command.kind == Command::Tell) {
        fputs(command.text.toUtf8().constData(), stdout);
        return done;
    }
    return report(command, run(command));
}
