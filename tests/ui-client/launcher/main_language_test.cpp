// Built together with main.cpp, whose main is renamed.
#include "tests/support/home-fixture.h"

#include <QCoreApplication>
#include <QEvent>
#include <QLibraryInfo>
#include <QProcess>
#include <QProgressDialog>
#include <QTranslator>
#include <QtTest>

#include <cstdio>
#include <cstring>

int launcher_main(int argc, char** argv);

namespace {

const char* const askedForLabel = "--print-label";

/// Tells the text of the dialog as it is shown.
class LabelWatch : public QObject {
public:
    using QObject::QObject;

    bool eventFilter(QObject* object, QEvent* event) override {
        const auto* const dialog = qobject_cast<QProgressDialog*>(object);
        if (dialog != nullptr && event->type() == QEvent::Show) {
            fprintf(stderr, "label: %s\n", dialog->labelText().toUtf8().constData());
        }
        return false;
    }
};

// The application object is the launcher's own: the watch comes with it. Called while the object is
// no QApplication yet, which the name qApp would make of it.
void watchLabels() {
    QCoreApplication* const application = QCoreApplication::instance();
    application->installEventFilter(new LabelWatch(application));
}
Q_COREAPP_STARTUP_FUNCTION(watchLabels)

} // namespace

/// The way from the environment to the words that a user reads. The system's locale is read once in
/// a process, so each row runs this program anew.
class MainLanguageTest : public QObject {
    Q_OBJECT

private slots:
    void programSpeaksTheDesktopsLanguage_data() {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("file");
        QTest::newRow("Japanese") << "ja_JP.UTF-8"
                                  << ":/jpn.qm";
        QTest::newRow("Hungarian") << "hu_HU.UTF-8"
                                   << ":/hun.qm";
        QTest::newRow("German, shown in English") << "de_DE.UTF-8"
                                                  << ":/enu.qm";
        QTest::newRow("none") << "C"
                              << ":/enu.qm";
    }

    void programSpeaksTheDesktopsLanguage() {
        QFETCH(QString, locale);
        QFETCH(QString, file);
        const HomeFixture home; // without a copy of the client: the dialog is shown
        QProcess child;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove("LANGUAGE");
        environment.insert("LC_ALL", locale);
        // The program looks for plug-ins in its own tree alone, which is not installed here.
        environment.insert("QT_QPA_PLATFORM_PLUGIN_PATH",
                           QLibraryInfo::location(QLibraryInfo::PluginsPath) + "/platforms");
        child.setProcessEnvironment(environment);
        child.start(QCoreApplication::applicationFilePath(), {askedForLabel});
        QVERIFY(child.waitForFinished());
        QCOMPARE(child.exitCode(), 0);

        QTranslator translator;
        QVERIFY(translator.load(file, "", "", ""));
        const QString text = translator.translate("global", "%1 is initializing...").arg("Tessel");
        const QByteArray errors = child.readAllStandardError();
        QVERIFY2(errors.contains("label: " + text.toUtf8() + '\n'), errors);
    }
};

int main(int argc, char** argv) {
    if (argc == 2 && strcmp(argv[1], askedForLabel) == 0) {
        return launcher_main(1, argv);
    }
    Q_INIT_RESOURCE(texts);
    const QCoreApplication application(argc, argv);
    MainLanguageTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "main_language_test.moc"
