#include "tests/support/program.h"

Program::Program(const InstalledTree& tree, const QString& program, const QStringList& arguments) {
    setProcessEnvironment(tree.environment());
    setWorkingDirectory(tree.root());
    start(program.isEmpty() ? tree.launcher() : program, arguments);
}

Program::~Program() {
    kill();
    waitForFinished();
}

int Program::status() {
    waitForFinished(60000); // answers false where it has ended before
    return state() == NotRunning && exitStatus() == NormalExit ? exitCode() : -1;
}
