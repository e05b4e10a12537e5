// Compiled without access control: the keystream is tested below the names that it ends in.
#include "lib/tmp_name_gen.h"
#include "tests/support/child.h"
#include "tests/support/files.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstring>
#include <ctime>
#include <set>
#include <thread>
#include <vector>

namespace {

constexpr int unable = 77; // a child's answer where the machine does not let it arrange its case

/// The 256 key bytes that a shorter key stands for: itself, over and over.
QByteArray stretched(const QByteArray& key) {
    return key.repeated(256 / key.size() + 1).left(256);
}

void seed(TmpNameGen& generator, const QByteArray& key) {
    memcpy(generator.m_key, stretched(key).constData(), 256);
    generator.rc4_init(generator.m_s_box, generator.m_key);
}

QByteArray draw(TmpNameGen& generator, int count) {
    QByteArray out(count, '\0');
    generator.rc4_randomize(generator.m_s_box, reinterpret_cast<unsigned char*>(out.data()), count);
    return out;
}

QByteArray permutation(const TmpNameGen& generator) {
    return QByteArray(reinterpret_cast<const char*>(generator.m_s_box), 256);
}

/// Whether the key is the time of day between `before` and now, NUL-terminated, before `rest`.
bool isTimeKey(const unsigned char* key, time_t before, const QByteArray& rest) {
    const QByteArray text(reinterpret_cast<const char*>(key));
    const auto parts = QRegularExpression("^([0-9]+)-([0-9]{1,6})$").match(text);
    const auto seconds = parts.captured(1).toLongLong();
    // Not time(), whose clock may lag behind the key's by a tick.
    struct timeval now = {};
    gettimeofday(&now, nullptr);
    return parts.hasMatch() && seconds >= before && seconds <= now.tv_sec &&
           QByteArray(reinterpret_cast<const char*>(key), 256).mid(text.size() + 1) ==
               rest.mid(text.size() + 1);
}

/// Lets no further file be opened, as when a process has run out of descriptors.
bool refuseOpen() {
    const struct rlimit none = {0, 0};
    return setrlimit(RLIMIT_NOFILE, &none) == 0;
}

/// Puts `file` in the place of the random source, for this process alone.
bool replaceUrandom(const QString& file) {
    const int spaces = geteuid() == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER;
    return unshare(spaces) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount(QFile::encodeName(file).constData(), "/dev/urandom", nullptr, MS_BIND, nullptr) ==
               0;
}

} // namespace

class TmpNameGenTest : public QObject {
    Q_OBJECT

private slots:
    void oneInstanceServesEveryThread() {
        std::vector<TmpNameGen*> seen(8);
        std::vector<std::thread> threads;
        threads.reserve(seen.size());
        for (auto& instance : seen) {
            threads.emplace_back([&instance] { instance = TmpNameGen::getInstance(); });
        }
        for (auto& thread : threads) {
            thread.join();
        }
        for (TmpNameGen* const instance : seen) {
            QVERIFY(instance != nullptr);
            QCOMPARE(instance, TmpNameGen::getInstance());
        }
    }

    void nameHasEightCharactersOfTheAlphabet() {
        const std::string alphabet =
            "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ-_";
        std::set<char> occurring;
        for (int i = 0; i < 10000; ++i) {
            const std::string name = TmpNameGen::getInstance()->getTmpName();
            QCOMPARE(name.size(), size_t(8));
            QCOMPARE(name.find_first_not_of(alphabet), std::string::npos);
            occurring.insert(name.begin(), name.end());
        }
        QCOMPARE(occurring, std::set<char>(alphabet.begin(), alphabet.end()));
    }

    void namesOfOneInstanceDiffer() {
        TmpNameGen generator;
        std::set<std::string> names;
        for (int i = 0; i < 100000; ++i) {
            names.insert(generator.getTmpName());
        }
        QCOMPARE(names.size(), size_t(100000));
    }

    void namesOfTwoProcessesDiffer() {
        const QTemporaryDir folder;
        for (const char* file : {"one", "two"}) {
            QCOMPARE(inChild([&] {
                         TmpNameGen generator;
                         writeFile(folder.filePath(file), generator.getTmpName().c_str());
                         return 0;
                     }),
                     0);
        }
        QCOMPARE(readFile(folder.filePath("one")).size(), 8);
        QVERIFY(readFile(folder.filePath("one")) != readFile(folder.filePath("two")));
    }

    void pathIsTheFolderAsPassedAndAName_data() {
        QTest::addColumn<QByteArray>("folder");
        QTest::addColumn<QByteArray>("front");
        QTest::newRow("plain") << QByteArray("/tmp/x") << QByteArray("/tmp/x/");
        QTest::newRow("separator at the end stays")
            << QByteArray("/tmp/x/") << QByteArray("/tmp/x//");
        QTest::newRow("empty") << QByteArray("") << QByteArray("/");
        QTest::newRow("relative, with a blank") << QByteArray("a b") << QByteArray("a b/");
    }
    void pathIsTheFolderAsPassedAndAName() {
        QFETCH(QByteArray, folder);
        QFETCH(QByteArray, front);
        TmpNameGen generator;
        seed(generator, "Key");
        QCOMPARE(generator.getTmpPath(folder.toStdString()), (front + "WVZTwrsQ").toStdString());
    }

    void pathCreatesNothing() {
        const QTemporaryDir folder;
        TmpNameGen::getInstance()->getTmpPath(folder.path().toStdString());
        QCOMPARE(listTree(folder.path()), QStringList());
    }

    // The first bytes after a key are those of plain RC4: published test vectors, the last two of
    // them from RFC 6229.
    void firstBytesArePlainRc4_data() {
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<QByteArray>("stream");
        QTest::newRow("Key") << QByteArray("Key") << QByteArray("eb9f7781b734ca72a719");
        QTest::newRow("Wiki") << QByteArray("Wiki") << QByteArray("6044db6d41b7");
        QTest::newRow("Secret") << QByteArray("Secret") << QByteArray("04d46b053ca87b59");
        QTest::newRow("40 bits") << QByteArray::fromHex("0102030405")
                                 << QByteArray("b2396305f03dc027ccc3524a0a1118a8");
        QTest::newRow("256 bits")
            << QByteArray::fromHex(
                   "1ada31d5cf688221c109163908ebe51debb46227c6cc8b37641910833222772a")
            << QByteArray("dd5bcb0018e922d494759d7c395d02d3");
    }
    void firstBytesArePlainRc4() {
        QFETCH(QByteArray, key);
        QFETCH(QByteArray, stream);
        TmpNameGen generator;
        seed(generator, key);
        QCOMPARE(draw(generator, stream.size() / 2).toHex(), stream);
    }

    // Worked out by a second implementation of the same rules in another language.
    void fixedKeyFixesTheNames_data() {
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QString>("thousandth");
        QByteArray counting;
        for (int i = 0; i < 256; ++i) {
            counting += static_cast<char>(i);
        }
        QTest::newRow("Key") << QByteArray("Key") << QStringList{"WVZTwrsQ", "lnIM_-bL", "FVonc5Qc",
                                                                 "C8Kws2X7", "UhUuKOo9", "9an7Yv49"}
                             << "VCfKBITa";
        QTest::newRow("Wiki") << QByteArray("Wiki")
                              << QStringList{"o4jrrk6T", "qsXTs8Xi", "NfD4PpE6",
                                             "-SJQb2FJ", "ucP6z3Hs", "9vWePMTi"}
                              << "V8KPKxUL";
        QTest::newRow("zeros") << QByteArray(1, '\0')
                               << QStringList{"Txy9gqcT", "skk0mLmt", "uZ-0b1u6",
                                              "MMNCmlcw", "sAQcrb2f", "QpxmzCGb"}
                               << "ihvnLDSF";
        QTest::newRow("0 to 255") << counting << QStringList{"nyWTIwS6", "Kph6eGWL", "WyPNyJQx",
                                                             "CvvFy36f", "Eq7o8J43", "1dXUGGDl"}
                                  << "kFbQ9rsX";
        QTest::newRow("all ones") << QByteArray(1, '\xff')
                                  << QStringList{"rikL971j", "HoFlzS9z", "zeIWr0Bw",
                                                 "CIf6hMKM", "6vmRycu7", "GY5C6gsV"}
                                  << "dwCZBvPu";
    }
    void fixedKeyFixesTheNames() {
        QFETCH(QByteArray, key);
        QFETCH(QStringList, names);
        QFETCH(QString, thousandth);
        TmpNameGen generator;
        seed(generator, key);
        QStringList drawn;
        for (int i = 0; i < 1000; ++i) {
            drawn << QString::fromStdString(generator.getTmpName());
        }
        QCOMPARE(drawn.mid(0, names.size()), names);
        QCOMPARE(drawn.last(), thousandth);
    }

    void indicesStartAnewOnThePermutationOfTheLastCall() {
        TmpNameGen whole;
        TmpNameGen split;
        seed(whole, "Key");
        seed(split, "Key");
        const QByteArray first = draw(split, 6);
        const QByteArray stream = draw(whole, 12);
        QCOMPARE(first, stream.left(6));
        QVERIFY(draw(split, 6) != stream.mid(6));
    }

    void drawLongerThanThePermutationWraps() {
        TmpNameGen generator;
        seed(generator, "Key");
        QCOMPARE(draw(generator, 300).mid(250).toHex(),
                 QByteArray("7bf2d31cc49092fdd9b6e404ef4fa075f1a344ed816bd0ef77a788f345a7352874ffcc"
                            "db3b3ba2a96e53e48ff9e1b7f370ee"));
        QCOMPARE(draw(generator, 8).toHex(), QByteArray("0a23d17de5daf67e"));
    }

    void drawOfNothingChangesNothing_data() {
        QTest::addColumn<int>("count");
        QTest::newRow("none") << 0;
        QTest::newRow("less than none") << -1;
    }
    void drawOfNothingChangesNothing() {
        QFETCH(int, count);
        TmpNameGen generator;
        const QByteArray before = permutation(generator);
        unsigned char out = 42;
        generator.rc4_randomize(generator.m_s_box, &out, count);
        QCOMPARE(permutation(generator), before);
        QCOMPARE(out, static_cast<unsigned char>(42));
    }

    void newInstanceIsKeyedFromTheRandomSource() {
        const TmpNameGen one;
        const TmpNameGen two;
        QVERIFY(memcmp(one.m_key, two.m_key, sizeof one.m_key) != 0);
        QVERIFY(permutation(one) != permutation(two));
        QVERIFY(one.m_key[255] != 0 || two.m_key[255] != 0 || one.m_key[254] != 0);
        TmpNameGen same;
        seed(same, QByteArray(reinterpret_cast<const char*>(one.m_key), 256));
        QCOMPARE(permutation(same), permutation(one));
    }

    void keyIsTheTimeOfDayWhereTheSourceDoesNotOpen() {
        QCOMPARE(inChild([] {
                     const time_t before = time(nullptr);
                     if (!refuseOpen()) {
                         return unable;
                     }
                     const TmpNameGen generator;
                     return isTimeKey(generator.m_key, before, QByteArray(256, '\0')) ? 0 : 1;
                 }),
                 0);
    }

    void keyKeepsWhatAShortReadBroughtBehindTheTimeOfDay() {
        const QTemporaryDir folder;
        writeFile(folder.filePath("urandom"), QByteArray(100, 'A'));
        const int outcome = inChild([&folder] {
            const time_t before = time(nullptr);
            if (!replaceUrandom(folder.filePath("urandom"))) {
                return unable;
            }
            const TmpNameGen generator;
            const QByteArray rest = QByteArray(100, 'A') + QByteArray(156, '\0');
            return isTimeKey(generator.m_key, before, rest) ? 0 : 1;
        });
        if (outcome == unable) {
            QSKIP("this machine allows no private mounts");
        }
        QCOMPARE(outcome, 0);
    }

    void keyNeverReachesPastItsSize() {
        TmpNameGen generator;
        unsigned char key[32];
        memset(key, 'z', sizeof key);
        generator.get_key(key, 8);
        QCOMPARE(QByteArray(reinterpret_cast<char*>(key) + 8, 24), QByteArray(24, 'z'));
        QVERIFY(memcmp(key, "zzzzzzzz", 8) != 0);
        QCOMPARE(inChild([&] {
                     if (!refuseOpen()) {
                         return unable;
                     }
                     memset(key, 'z', sizeof key);
                     generator.get_key(key, 8);
                     const bool cut = strspn(reinterpret_cast<char*>(key), "0123456789") == 7;
                     return cut && key[7] == '\0' && key[8] == 'z' && key[31] == 'z' ? 0 : 1;
                 }),
                 0);
    }

    void concurrentCallersShareOneSequence() {
        constexpr int callers = 8;
        constexpr int each = 4000;
        TmpNameGen alone;
        TmpNameGen shared;
        seed(alone, "Key");
        seed(shared, "Key");
        std::set<std::string> expected;
        for (int i = 0; i < callers * each; ++i) {
            expected.insert(alone.getTmpName());
        }
        std::vector<std::vector<std::string>> drawn(callers);
        std::vector<std::thread> threads;
        threads.reserve(callers);
        for (auto& names : drawn) {
            threads.emplace_back([&names, &shared] {
                for (int i = 0; i < each; ++i) {
                    names.push_back(shared.getTmpName());
                }
            });
        }
        std::set<std::string> together;
        for (int i = 0; i < callers; ++i) {
            threads[i].join();
            together.insert(drawn[i].begin(), drawn[i].end());
        }
        QCOMPARE(together.size(), size_t(callers * each));
        QVERIFY(together == expected);
    }
};

QTEST_GUILESS_MAIN(TmpNameGenTest)
#include "tmp_name_gen_test.moc"
