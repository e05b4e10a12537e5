#include "ui-client/launcher/frame-pace.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>
#include <QtTest>

#include <algorithm>
#include <memory>

namespace {

constexpr int frame = 16; // milliseconds

/// Counts the pictures of a bar.
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

struct Run {
    int looks = 0;       // of the loop for events
    qint64 duration = 0; // milliseconds
};

/// Lets the event loop turn freely for some frames; `step` runs at each turn.
template <class Step>
Run turnTheLoop(Step step) {
    Run run;
    QEventLoop loop;
    QElapsedTimer clock;
    QTimer work;
    QObject::connect(&work, &QTimer::timeout, [&] {
        ++run.looks;
        step();
        if (clock.elapsed() > 12 * frame) {
            loop.quit();
        }
    });
    clock.start();
    work.start(0);
    loop.exec();
    run.duration = clock.elapsed();
    return run;
}

void nothing() {}

} // namespace

class FramePaceTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        m_bar = std::make_unique<QProgressBar>();
        new FramePace(m_bar.get());
        m_bar->setRange(0, 1000000);
        m_bar->setValue(0);
    }

    void looksForEventsOncePerFrameWhileTheBarShows() {
        show();
        const Run run = turnTheLoop(nothing);
        QVERIFY2(run.looks <= run.duration / frame + 2, qPrintable(QString::number(run.looks)));
    }

    void leavesTheLoopAloneWhileTheBarIsHidden() {
        QCOMPARE(freeLooks(), true);
        show();
        m_bar->hide();
        QCOMPARE(freeLooks(), true);
    }

    void callsOfOneFrameAreHandledTogetherAndInOrder() {
        show();
        QVector<int> values;
        connect(m_bar.get(), &QProgressBar::valueChanged, [&](int value) { values << value; });
        int sent = 0;
        turnTheLoop([&] {
            for (int i = 0; i < 100; ++i) {
                const int value = ++sent;
                QMetaObject::invokeMethod(
                    m_bar.get(), [this, value] { m_bar->setValue(value); }, Qt::QueuedConnection);
            }
        });
        QCoreApplication::processEvents();
        QCOMPARE(m_bar->value(), sent);
        QCOMPARE(values.size(), sent);
        QVERIFY(std::is_sorted(values.begin(), values.end()));
    }

    void paintsSteadilyAndNoMoreOftenThanAScreenCanShow() {
        show();
        const PaintCounter pictures(m_bar.get());
        constexpr int enough = 5;
        QElapsedTimer clock;
        clock.start();
        int value = 0;
        // New values come with every turn of the loop, as they do while a package is unpacked.
        while (pictures.count < enough && !clock.hasExpired(10000)) {
            turnTheLoop([&] {
                value += 100;
                QMetaObject::invokeMethod(
                    m_bar.get(), [this, value] { m_bar->setValue(value); }, Qt::QueuedConnection);
            });
        }
        QVERIFY2(pictures.count >= enough, qPrintable(QString::number(pictures.count)));
        QVERIFY2(pictures.count <= clock.elapsed() / frame + 1,
                 qPrintable(QString::number(pictures.count)));
    }

    void aFloodOfValuesWithoutPausesPaintsNoMoreOften() {
        show();
        const PaintCounter pictures(m_bar.get());
        QElapsedTimer clock;
        clock.start();
        for (int value = 1; clock.elapsed() < 12 * frame; ++value) {
            m_bar->setValue(value * 100);
            QCoreApplication::processEvents();
        }
        QVERIFY2(pictures.count <= clock.elapsed() / frame + 1,
                 qPrintable(QString::number(pictures.count)));
    }

    void theLastValueIsPainted() {
        show();
        for (const int value : {1000, 500000, 1000000}) {
            m_bar->setValue(value);
        }
        QProgressBar other;
        other.setRange(0, 1000000);
        other.resize(m_bar->size());
        other.setValue(1000000);
        const PaintCounter pictures(m_bar.get());
        QTRY_COMPARE(pictures.count, 1);
        QVERIFY(m_bar->updatesEnabled());
        QCOMPARE(m_bar->grab().toImage(), other.grab().toImage());
    }

    void aBarThatIsHiddenInTheMeantimeComesBackWithItsValue() {
        show();
        m_bar->setValue(500000);
        m_bar->hide();
        const PaintCounter pictures(m_bar.get());
        show();
        QTRY_VERIFY(pictures.count > 0);
        QTRY_VERIFY(m_bar->updatesEnabled());
    }

private:
    void show() {
        m_bar->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_bar.get()));
        QTRY_VERIFY(m_bar->updatesEnabled());
    }

    // Free turns of the loop take microseconds each; a few of them in a frame prove that none
    // waits.
    static bool freeLooks() {
        const Run run = turnTheLoop(nothing);
        return run.looks > 2 * (run.duration / frame + 2);
    }

    std::unique_ptr<QProgressBar> m_bar;
};

QTEST_MAIN(FramePaceTest)
#include "frame-pace_test.moc"
