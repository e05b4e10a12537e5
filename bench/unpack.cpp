// Unpacks an archive as an upgrade does, count and progress included, without a window.
//
//   unpack ARCHIVE FOLDER [listening|silent]
//
// "listening" (the default) sends each progress step through the event loop to a receiver on the
// GUI thread, as the launcher does; "silent" has nobody connected.

#include "ui-client/launcher/adapter.h"
#include "ui-client/launcher/extractor.h"
#include "ui-client/launcher/progress-dialog.h"
#include "ui-client/launcher/texts/strtab.h"

#include <QApplication>

#include <cstring>
#include <thread>

int main(int argc, char** argv) {
    if (argc < 3) {
        return 2;
    }
    QApplication application(argc, argv);
    StrTable::InitStrTable();
    ProcessingProgressDialog dialog;
    dialog.setAutoReset(false);
    if (argc < 4 || strcmp(argv[3], "silent") != 0) {
        QObject::connect(Notify_Adapter::GetInstance(), &Notify_Adapter::sigUpdateProgress, &dialog,
                         [&dialog](int total, int done) {
                             dialog.setValue(static_cast<int>(qint64(done) * 100 / total));
                         });
    }
    dialog.show();
    int result = -1;
    std::thread worker([&] {
        Extractor extractor;
        extractor.SetSource(argv[1]);
        extractor.SetTarget(argv[2]);
        result = extractor.Extract();
        QMetaObject::invokeMethod(&application, &QCoreApplication::quit, Qt::QueuedConnection);
    });
    QApplication::exec();
    worker.join();
    return result == 0 ? 0 : 1;
}
