#include "ui-client/launcher/adapter.h"

#include <utility>

Notify_Adapter* Notify_Adapter::GetInstance() {
    static Notify_Adapter instance;
    return &instance;
}

void Notify_Adapter::UpdateProgress(int total, int current) {
    emit sigUpdateProgress(total, current);
}

// By value, so that the receiver's queued call has a text of its own.
void Notify_Adapter::UpdateDialogText(QString text) {
    emit sigUpdateDialogText(std::move(text));
}
