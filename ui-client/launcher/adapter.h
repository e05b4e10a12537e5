#pragma once

#include <QObject>
#include <QString>

/// The process-wide source of progress and label text, for code that knows nothing of the dialog.
/// Call GetInstance first on the GUI thread, which the one instance then belongs to; emit from any
/// thread: with automatic connections a receiver on the GUI thread gets queued calls, in order.
class Notify_Adapter : public QObject {
    Q_OBJECT

public:
    static Notify_Adapter* GetInstance();

    void UpdateProgress(int total, int current);
    void UpdateDialogText(QString text);

signals:
    void sigUpdateProgress(int total, int current);
    void sigUpdateDialogText(QString text);
};
