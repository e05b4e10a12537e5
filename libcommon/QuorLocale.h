#pragma once

#include <QString>
#include <QStringList>

/// Chooses the language of the user interface from the desktop's locale. A language is a
/// three-letter lower-case code ("enu", "cht"); its translation is the compiled-in file ":/" + code
/// + ".qm". Functions only, no state of their own; start-up calls them on the GUI thread.
class QuorLocale {
public:
    /// The code to use on this system; "enu" where no translation fits. Never empty.
    /// Traces its steps on the debug channel.
    static QString getDefaultLanguage();

    /// Whether the translation file of `code` is compiled in.
    static bool isLanguageInstalled(const QString& code);

    /// The language of last resort: "enu", whether its file is compiled in or not.
    static QString getStrLanguageFallSafe();

    /// The code at place `id` of the supported languages; empty for any other number.
    static QString getLanguageAbbrByID(int id);

    /// The 20 supported codes, "enu" first. Some of them ("deu") have no translation file.
    static QStringList getSupportedLanguages();
};
