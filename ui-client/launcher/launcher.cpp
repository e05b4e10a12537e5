#include "ui-client/launcher/launcher.h"

#include "lib/log.h"
#include "ui-client/launcher/adapter.h"
#include "ui-client/launcher/linux/linux-service.h"
#include "ui-client/launcher/progress-dialog.h"
#include "ui-client/launcher/texts/strtab.h"

#include <QGuiApplication>

#define LOG_SOURCE "launcher"
#define LOG_COMPONENT "launcher_debug"
// The numbers identify the messages for whoever reads a log; they do not follow the lines of this
// file.

void HandlerThread::run() {
    exec();
}

Worker::Worker() : m_service(new LinuxService) {
    m_handler_thread = new HandlerThread;
    moveToThread(m_handler_thread);
}

Worker::~Worker() {
    if (m_handler_thread != nullptr) {
        QuitThread();
        JoinThread();
    }
    delete m_handler_thread;
    delete m_service;
}

void Worker::StartThread() {
    m_handler_thread->start(QThread::InheritPriority);
}

void Worker::QuitThread() {
    m_handler_thread->quit();
}

void Worker::JoinThread() {
    m_handler_thread->wait();
}

void Worker::HandleServicce() {
    WRITE_LOG(L_DEBUG, LOG_AT(88, "running\n"));
    m_service->PreUpgrade();
    if (m_service->IsNeedUpgrade()) {
        upgrade();
    } else {
        WRITE_LOG(L_DEBUG, LOG_AT(93, "no need to upgrade\n"));
    }
    m_service->RemoveAgedFolders();
    m_service->PostUpgrade();
    WRITE_LOG(L_DEBUG, LOG_AT(116, "done\n"));
    emit sigServiceDone();
}

void Worker::upgrade() {
    emit sigShowMsg();
    if (m_service->HandlePackageUpgrade() != 0) {
        WRITE_LOG(L_ERR, LOG_AT(100, "Failed to upgrade package\n"));
        return;
    }
    emit sigUpdateProgress(100, 100);
    emit sigSetLabelText(
        StrTable::LoadStr(StrTable::desc_sklk_env_preparation_done_tessel)
            .arg(StrTable::LoadStr(StrTable::app_name_tessel), 0, QLatin1Char(' ')));
}

Launcher::Launcher() : m_worker(new Worker), m_progress(new ProcessingProgressDialog) {
    m_progress->setCancelButton(nullptr);
    m_progress->setAutoReset(false);
    connectWorker();
    // The sequence alone ends the program: neither a closed window nor, by closing windows, the end
    // of the session, which the dialog's refusal to close would hold up.
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QGuiApplication::setFallbackSessionManagementEnabled(false);
}

Launcher::~Launcher() {
    delete m_worker;
    delete m_progress;
}

void Launcher::Run() {
    m_worker->StartThread();
}

void Launcher::Start() {
    emit sigStart();
}

void Launcher::LaunchDone() {
    m_progress->setValue(100);
    m_progress->hide();
    m_worker->QuitThread();
    m_worker->JoinThread();
    QCoreApplication::quit();
}

void Launcher::UpdateProgress(int total, int steps) {
    m_progress->setValue(static_cast<int>(static_cast<qint64>(steps) * 100 / total));
}

void Launcher::SetLabelText(const QString& text) {
    m_progress->setLabelText(text);
}

void Launcher::ShowMsgBox() {
    m_progress->show();
}

// By name: the worker lives on another thread, so each of these is a queued call to its receiver's.
void Launcher::connectWorker() {
    connect(this, SIGNAL(sigStart()), m_worker, SLOT(HandleServicce()));
    connect(m_worker, SIGNAL(sigShowMsg()), this, SLOT(ShowMsgBox()));
    connect(m_worker, SIGNAL(sigServiceDone()), this, SLOT(LaunchDone()));
    connect(m_worker, SIGNAL(sigUpdateProgress(int, int)), this, SLOT(UpdateProgress(int, int)));
    connect(m_worker, SIGNAL(sigSetLabelText(QString)), this, SLOT(SetLabelText(QString)));
    Notify_Adapter* const adapter = Notify_Adapter::GetInstance();
    connect(adapter, SIGNAL(sigUpdateProgress(int, int)), this, SLOT(UpdateProgress(int, int)));
    connect(adapter, SIGNAL(sigUpdateDialogText(QString)), this, SLOT(SetLabelText(QString)));
}
