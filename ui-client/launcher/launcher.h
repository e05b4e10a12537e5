#pragma once

#include <QObject>
#include <QString>
#include <QThread>

class ProcessingProgressDialog;
class Service;

/// A thread that runs nothing but an event loop, for the objects that live on it.
class HandlerThread : public QThread {
    Q_OBJECT

protected:
    void run() override;
};

/// Runs the service through its sequence on a thread of its own, to which it belongs from its
/// constructor on. Made, steered and deleted on the GUI thread.
class Worker : public QObject {
    Q_OBJECT

public:
    Worker();
    /// Ends the thread and waits for it where nobody has; a sequence under way comes to its end.
    ~Worker() override;

    void StartThread();
    /// Asks the thread's event loop to end; returns at once.
    void QuitThread();
    /// Blocks until the thread has ended, without a time limit.
    void JoinThread();

signals:
    void sigServiceDone();
    void sigShowMsg();
    void sigUpdateProgress(int total, int steps);
    void sigSetLabelText(QString text);

public slots:
    /// The whole sequence: prepare, upgrade where needed, clean up, start the client. Blocks for as
    /// long as that takes. (The name is part of the connections; so it stays.)
    void HandleServicce();

private:
    void upgrade();

    HandlerThread* m_handler_thread; // owned; joined before it is deleted
    Service* m_service;              // owned; used on the handler thread alone
};

/// The controller: owns the dialog and the worker, takes the worker's queued signals to the dialog,
/// and quits the application when the sequence is done. One per program, on the GUI thread.
class Launcher : public QObject {
    Q_OBJECT

public:
    Launcher();
    ~Launcher() override;

    /// Starts the worker's thread.
    void Run();
    /// Queues the sequence to it.
    void Start();

signals:
    void sigStart();

public slots:
    /// Puts the dialog away, joins the worker's thread and quits the application.
    void LaunchDone();
    /// Shows `steps` of `total` in whole per cent, cut. \param total never 0.
    void UpdateProgress(int total, int steps);
    void SetLabelText(const QString& text);
    /// Shows the progress dialog, in spite of the name.
    void ShowMsgBox();

private:
    void connectWorker();

    Worker* m_worker;                     // owned; deleted first, which joins its thread
    ProcessingProgressDialog* m_progress; // owned
};
