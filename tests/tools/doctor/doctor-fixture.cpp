#include "tests/tools/doctor/doctor-fixture.h"

#include <QProcess>

QByteArray DoctorFixture::snapshot() const {
    return runCommand("find . -printf '%p %y %m %s %T@ %l\\n' | sort", m_folder->path());
}

DoctorFixture::Answer DoctorFixture::run(const QStringList& more, const QByteArray& input) const {
    QProcess process;
    process.start(DOCTOR_PROGRAM, QStringList{"--home", m_folder->filePath("home"),
                                              "--installation", m_folder->filePath("R")} +
                                      more);
    process.write(input);
    process.closeWriteChannel();
    Answer answer;
    if (process.waitForFinished() && process.exitStatus() == QProcess::NormalExit) {
        answer.status = process.exitCode();
    }
    answer.out = process.readAllStandardOutput();
    answer.err = process.readAllStandardError();
    return answer;
}

void DoctorFixture::make() {
    m_folder = std::make_unique<QTemporaryDir>();
    shell(R"(
        mkdir -p R/bin R/lib/plugins/platforms R/package R/log client/bin client/package
        touch R/bin/launcher R/lib/plugins/platforms/libqxcb.so
        printf '[Version]\nbuild_version=5\n' >client/INFO
        printf '#!/bin/sh\n' | tee client/bin/cloud-tessel-ui >client/package/start-stop
        chmod +x R/bin/launcher client/bin/cloud-tessel-ui client/package/start-stop
        (cd client && bsdtar -c --zstd -f ../R/package/skylark.tpx package bin INFO)
        cp client/INFO R/INFO
        mkdir -p home/.AldaneTessel/log
        cp -a client home/.AldaneTessel/AldaneTessel.app)");
}
