#include "ui-client/launcher/frame-pace.h"

#include <QAbstractEventDispatcher>
#include <QThread>

namespace {

constexpr int frame = 16;          // milliseconds: 60 in a second
constexpr int picture = 2 * frame; // a bar that grows 30 times in a second grows smoothly

} // namespace

FramePace::FramePace(QProgressBar* bar) : QObject(bar), m_bar(bar) {
    connect(bar, &QProgressBar::valueChanged, this, &FramePace::holdPicture);
    connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::aboutToBlock, this,
            &FramePace::awaitFrame);
}

// The bar tells of a new value before it paints it at once.
void FramePace::holdPicture() {
    if (m_bar->isVisible() && !m_picture.isActive()) {
        m_bar->setUpdatesEnabled(false);
        m_picture.start(picture, this);
    }
}

void FramePace::timerEvent(QTimerEvent* /*event*/) {
    m_picture.stop();
    m_bar->setUpdatesEnabled(true);
    m_bar->repaint(); // at once: the next value would hold back an update that is only due
}

// The loop is about to wait anyway; events that come during this wait do not wake anybody.
void FramePace::awaitFrame() {
    if (!m_bar->isVisible()) {
        return;
    }
    if (m_frame.isValid() && m_frame.elapsed() < frame) {
        QThread::msleep(static_cast<unsigned long>(frame - m_frame.elapsed()));
    }
    m_frame.start();
}
