#include "ui-client/launcher/adapter.h"

#include <QSignalSpy>
#include <QThread>
#include <QtTest>

#include <thread>

namespace {

/// Runs `work` on a thread of its own and waits for it.
template <typename Work>
void onOtherThread(Work work) {
    std::thread(work).join();
}

/// Notes what arrives, and on which thread.
class Receiver : public QObject {
    Q_OBJECT

public:
    QList<QPair<int, int>> steps;
    QStringList texts;
    int strangers = 0; // calls that came on another thread than the receiver's

public slots:
    void note(int total, int current) {
        countStranger();
        steps << qMakePair(total, current);
    }
    void noteText(const QString& text) {
        countStranger();
        texts << text;
    }

private:
    void countStranger() { strangers += QThread::currentThread() != thread() ? 1 : 0; }
};

} // namespace

class AdapterTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { Notify_Adapter::GetInstance(); }

    void thereIsOneInstanceWithoutParent() {
        Notify_Adapter* const first = Notify_Adapter::GetInstance();
        QVERIFY(first != nullptr);
        QCOMPARE(Notify_Adapter::GetInstance(), first);
        QCOMPARE(first->parent(), nullptr);
        Notify_Adapter* other = nullptr;
        onOtherThread([&other] { other = Notify_Adapter::GetInstance(); });
        QCOMPARE(other, first);
    }

    void instanceBelongsToTheThreadThatAskedFirst() {
        QCOMPARE(Notify_Adapter::GetInstance()->thread(), QCoreApplication::instance()->thread());
    }

    void metaMethodsKeepTheirIndices_data() {
        QTest::addColumn<int>("index");
        QTest::addColumn<QByteArray>("signature");
        QTest::addColumn<QList<QByteArray>>("parameters");
        QTest::newRow("progress") << 0 << QByteArray("sigUpdateProgress(int,int)")
                                  << QList<QByteArray>{"total", "current"};
        QTest::newRow("text") << 1 << QByteArray("sigUpdateDialogText(QString)")
                              << QList<QByteArray>{"text"};
    }

    void metaMethodsKeepTheirIndices() {
        QFETCH(int, index);
        const QMetaObject& meta = Notify_Adapter::staticMetaObject;
        const QMetaMethod method = meta.method(meta.methodOffset() + index);
        QTEST(method.methodSignature(), "signature");
        QTEST(method.parameterNames(), "parameters");
        QCOMPARE(method.methodType(), QMetaMethod::Signal);
        QCOMPARE(meta.methodCount() - meta.methodOffset(), 2);
    }

    void progressIsEmittedAsGiven() {
        QSignalSpy spy(Notify_Adapter::GetInstance(), &Notify_Adapter::sigUpdateProgress);
        Notify_Adapter::GetInstance()->UpdateProgress(0, -1);
        QCOMPARE(spy.size(), 1);
        QCOMPARE(spy.first(), (QVariantList{0, -1}));
    }

    void textIsEmittedAsGiven() {
        QSignalSpy spy(Notify_Adapter::GetInstance(), &Notify_Adapter::sigUpdateDialogText);
        Notify_Adapter::GetInstance()->UpdateDialogText(QString::fromUtf8("Tessel を…"));
        QCOMPARE(spy.size(), 1);
        QCOMPARE(spy.first(), QVariantList{QString::fromUtf8("Tessel を…")});
    }

    void quickCallsFromAnotherThreadArriveInOrderOnTheReceiversThread() {
        constexpr int count = 5000;
        Receiver receiver;
        Notify_Adapter* const adapter = Notify_Adapter::GetInstance();
        connect(adapter, SIGNAL(sigUpdateProgress(int, int)), &receiver, SLOT(note(int, int)));
        connect(adapter, SIGNAL(sigUpdateDialogText(QString)), &receiver, SLOT(noteText(QString)));
        onOtherThread([adapter] {
            for (int i = 1; i <= count; ++i) {
                adapter->UpdateProgress(count, i);
            }
            adapter->UpdateDialogText("done");
        });
        QCOMPARE(receiver.steps.size(), 0); // queued: nothing ran on the sender's thread
        QTRY_COMPARE(receiver.texts, QStringList{"done"});
        QCOMPARE(receiver.steps.size(), count);
        for (int i = 1; i <= count; ++i) {
            QCOMPARE(receiver.steps.at(i - 1), qMakePair(count, i));
        }
        QCOMPARE(receiver.strangers, 0);
    }
};

QTEST_GUILESS_MAIN(AdapterTest)
#include "adapter_test.moc"
