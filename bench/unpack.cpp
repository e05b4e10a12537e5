// Unpacks an archive as an upgrade does, count and progress included, with the dialog on a screen
// that nobody sees.
//
//   unpack ARCHIVE FOLDER [listening|silent|count [TIMES]]
//
// "listening" (the default) sends each progress step through the event loop to a receiver on the
// GUI thread, as the launcher does, and prints how many pictures the bar has painted in how many
// milliseconds; "silent" has nobody connected; "count" only counts. TIMES repeats the work, each
// time into a new folder below FOLDER.

#include "ui-client/launcher/adapter.h"
#include "ui-client/launcher/extractor.h"
#include "ui-client/launcher/progress-dialog.h"
#include "ui-client/launcher/texts/strtab.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QProgressBar>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

namespace {

class PaintCounter : public QObject {
public:
    explicit PaintCounter(QObject* watched) { watched->installEventFilter(this); }
    int count = 0;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        count += event->type() == QEvent::Paint ? 1 : 0;
        return QObject::eventFilter(watched, event);
    }
};

bool work(const std::string& archive, const std::string& folder, const std::string& mode) {
    Extractor extractor;
    extractor.SetSource(archive);
    extractor.SetTarget(folder);
    return mode == "count" ? extractor.Count() > 0 : extractor.Extract() == 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        return 2;
    }
    const std::string mode = argc > 3 ? argv[3] : "listening";
    const int times = argc > 4 ? atoi(argv[4]) : 1; // NOLINT(cert-err34-c)
    QApplication application(argc, argv);
    StrTable::InitStrTable();
    ProcessingProgressDialog dialog;
    dialog.setAutoReset(false);
    if (mode == "listening") {
        QObject::connect(Notify_Adapter::GetInstance(), &Notify_Adapter::sigUpdateProgress, &dialog,
                         [&dialog](int total, int done) {
                             dialog.setValue(static_cast<int>(qint64(done) * 100 / total));
                         });
    }
    dialog.show();
    const PaintCounter pictures(dialog.findChild<QProgressBar*>());
    QElapsedTimer clock;
    clock.start();
    bool good = true;
    std::thread worker([&] {
        for (int i = 0; i < times; ++i) {
            good = good && work(argv[1], std::string(argv[2]) + "/" + std::to_string(i), mode);
        }
        QMetaObject::invokeMethod(&application, &QCoreApplication::quit, Qt::QueuedConnection);
    });
    QApplication::exec();
    worker.join();
    printf("%d %lld\n", pictures.count, static_cast<long long>(clock.elapsed()));
    return good ? 0 : 1;
}
