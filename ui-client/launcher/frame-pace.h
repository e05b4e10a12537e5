#pragma once

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QObject>
#include <QProgressBar>

/// Keeps a progress bar and its thread's event loop at the pace of a screen while the bar shows.
///
/// Every entry of a package is a queued call to the GUI thread. Woken for each of them, that thread
/// and the wake-ups would cost half as much as the unpacking, and the bar would paint pictures that
/// no screen can show. So the loop looks for events once per frame and finds all of the frame's
/// calls together; none is dropped, and each sets the bar's value. A hidden bar changes nothing.
class FramePace : public QObject {
public:
    /// \param bar becomes the owner; belongs to the calling thread, as does this.
    explicit FramePace(QProgressBar* bar);

protected:
    void timerEvent(QTimerEvent* event) override;

private:
    void holdPicture();
    void awaitFrame();

    QProgressBar* m_bar;
    QBasicTimer m_picture; // runs while the bar's picture is held back
    QElapsedTimer m_frame; // since the loop last looked for events
};
