#include "libcommon/QuorLocale.h"

#include <QFile>
#include <QLocale>
#include <QMap>
#include <QtDebug>

// Says which expression has which value. The bare file name keeps the build machine's folders out.
#define TRACE(format, value) qDebug(format, "QuorLocale.cpp", __LINE__, #value, value)

namespace {

const char* const grgszLanguages[] = {"enu", "cht", "chs", "jpn", "deu", "krn", "fra",
                                      "ita", "esn", "ptb", "rus", "dan", "nor", "sve",
                                      "nld", "plk", "hun", "ptg", "trk", "csy", nullptr};

const QString qstrLanguageFallSafe("enu");

using LanguageMap = QMap<QString, QString>;

// "deu", "fra" and "esn" have no file of that name (theirs are "ger", "fre" and "spn"): German,
// French and Spanish desktops therefore get English, as everywhere in the client family.
LanguageMap languagesByPrefix() {
    return {{"en", "enu"}, {"zh", "chs"}, {"ja", "jpn"}, {"de", "deu"}, {"ko", "krn"},
            {"fr", "fra"}, {"it", "ita"}, {"es", "esn"}, {"pt", "ptb"}, {"ru", "rus"},
            {"da", "dan"}, {"no", "nor"}, {"nb", "nor"}, {"nn", "nor"}, {"sv", "sve"},
            {"nl", "nld"}, {"pl", "plk"}, {"hu", "hun"}, {"tr", "trk"}, {"cs", "csy"}};
}

/// \param list closed by a null string.
bool isListed(const QString& name, const QString* list) {
    for (; !list->isNull(); ++list) {
        if (*list == name) {
            return true;
        }
    }
    return false;
}

/// The language of a locale whose territory decides; empty where the language part alone does.
QString languageOfWholeLocale(const QString& locale) {
    const QString traditionalChinese[] = {"zh_tw", "zh_hk", "zh_mo", QString()};
    const QString portugal[] = {"pt", "pt_pt", QString()};
    if (isListed(locale, traditionalChinese)) {
        return "cht";
    }
    return isListed(locale, portugal) ? "ptg" : QString();
}

QString languageOfPrefix(const QString& prefix) {
    const LanguageMap languages = languagesByPrefix();
    return languages.value(prefix, languages.value("en"));
}

} // namespace

QString QuorLocale::getDefaultLanguage() {
    const QString qstrLocaleLower = QLocale::system().name().toLower();
    // Twice, once with the line break inside the brackets: readers of the trace know both shapes.
    TRACE("%s:%d %s=[%s\n] ", qPrintable(qstrLocaleLower));
    TRACE("%s:%d %s=[%s] ", qPrintable(qstrLocaleLower));

    QString qstrDef = languageOfWholeLocale(qstrLocaleLower);
    if (qstrDef.isEmpty()) {
        qstrDef = languageOfPrefix(qstrLocaleLower.left(qstrLocaleLower.indexOf('_')));
    }
    if (!isLanguageInstalled(qstrDef)) {
        qstrDef = qstrLanguageFallSafe;
    }
    TRACE("%s:%d %s=[%s\n] ", qPrintable(qstrDef));
    return qstrDef;
}

bool QuorLocale::isLanguageInstalled(const QString& code) {
    const QString qstrLangFileName = ":/" + code + ".qm";
    if (!QFile::exists(qstrLangFileName)) {
        return false;
    }
    TRACE("%s:%d %s=[%s] ", qPrintable(qstrLangFileName));
    return true;
}

QString QuorLocale::getStrLanguageFallSafe() {
    return qstrLanguageFallSafe;
}

QString QuorLocale::getLanguageAbbrByID(int id) {
    // Unsigned, so that a negative number counts as large; the last place is the null end mark.
    constexpr unsigned last = sizeof grgszLanguages / sizeof *grgszLanguages - 1;
    return static_cast<unsigned>(id) <= last ? QString(grgszLanguages[id]) : QString();
}

QStringList QuorLocale::getSupportedLanguages() {
    QStringList codes;
    for (const char* const* code = grgszLanguages; *code != nullptr; ++code) {
        codes << *code;
    }
    return codes;
}
