#include "libui/UIPathManager.h"

#include <QtTest>

class UIPathManagerTest : public QObject {
    Q_OBJECT

private slots:
    void thereIsOneInstance() {
        QVERIFY(UIPathManager::getInstance() != nullptr);
        QCOMPARE(UIPathManager::getInstance(), UIPathManager::getInstance());
    }

    void unknownKeyIsEmpty() {
        QCOMPARE(UIPathManager::getInstance()->getPath("user_skylark_data_path"), QString());
        QCOMPARE(UIPathManager::getInstance()->getPath(QString()), QString());
    }

    void pathIsFoundUnderItsKeyAlone() {
        UIPathManager::getInstance()->setPath("one", "/home/a b");
        QCOMPARE(UIPathManager::getInstance()->getPath("one"), QString("/home/a b"));
        QCOMPARE(UIPathManager::getInstance()->getPath("One"), QString());
    }

    void laterPathReplacesTheFormer() {
        UIPathManager::getInstance()->setPath("two", "/first");
        UIPathManager::getInstance()->setPath("two", "/second");
        QCOMPARE(UIPathManager::getInstance()->getPath("two"), QString("/second"));
    }

    void pathIsStoredAsGiven() {
        UIPathManager::getInstance()->setPath("three", "/a/../b/./");
        QCOMPARE(UIPathManager::getInstance()->getPath("three"), QString("/a/../b/./"));
    }
};

QTEST_GUILESS_MAIN(UIPathManagerTest)
#include "UIPathManager_test.moc"
