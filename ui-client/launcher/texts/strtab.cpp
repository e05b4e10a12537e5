#include "ui-client/launcher/texts/strtab.h"

#include <QCoreApplication>

static_assert(0
// NOLINTNEXTLINE(bugprone-macro-parentheses): a summand
#define TESSEL_TEXT(key, text) +1
#include "ui-client/launcher/texts/strtab-list.inc"
#undef TESSEL_TEXT
                  == StrTable::NUM_STRING_IDS,
              "a row more or less moves the numbers that are compiled into the callers");

const char* StrTable::stab[NUM_STRING_IDS];
const char* StrTable::ktab[NUM_STRING_IDS];

void StrTable::InitStrTable() {
#define TESSEL_TEXT(key, text)                                                                     \
    stab[key] = text;                                                                              \
    ktab[key] = #key;
#include "ui-client/launcher/texts/strtab-list.inc"
#undef TESSEL_TEXT
}

QString StrTable::LoadStr(int id) {
    QString text = QCoreApplication::translate("global", stab[id], nullptr, -1);
    text.replace("\\n", "\n", Qt::CaseSensitive);
    text.replace("\\t", "\t", Qt::CaseSensitive);
    return text;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the client family's signature
int StrTable::LookupStrID(QString key) {
    const QByteArray wanted = key.toLocal8Bit();
    for (int id = 0; id < NUM_STRING_IDS; ++id) {
        if (qstricmp(wanted.constData(), ktab[id]) == 0) {
            return id;
        }
    }
    return -1;
}
