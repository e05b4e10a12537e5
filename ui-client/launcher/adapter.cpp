#include "ui-client/launcher/adapter.h"

Notify_Adapter* Notify_Adapter::GetInstance() {
    static Notify_Adapter instance;
    return &instance;
}

void Notify_Adapter::UpdateProgress(int total, int current) {
    emit sigUpdateProgress(total, current);
}

// By value, so that the receiver's queued call has a text of its own.
// NOLINTNEXTLINE(performance-unnecessary-value-param): the callers' signature
void Notify_Adapter::UpdateDialogText(QString text) {
    emit sigUpdateDialogText(text);
}
