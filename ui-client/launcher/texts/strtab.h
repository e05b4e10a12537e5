#pragma once

#include <QString>

/// The texts that the client family shows, by number: each has a key and an English text.
/// The English text is what a translation is looked up by, and what is shown without one.
/// Filled once by start-up, before the worker thread starts, and only read afterwards: any thread
/// may then call LoadStr and LookupStrID, without a lock.
class StrTable {
public:
    StrTable() = delete;

    /// One enumerator per row of the catalogue, named as the row's key, in the catalogue's order.
    enum StringID {
#define TESSEL_TEXT(key, text) key,
#include "ui-client/launcher/texts/strtab-list.inc"
#undef TESSEL_TEXT
    };

    static constexpr int NUM_STRING_IDS = 715;

    /// Fills both tables. To be called before any other function; again, it stores the same values.
    static void InitStrTable();

    /// The text of `id` in the language of the installed translators, else in English; what is
    /// written as \n and \t in it comes as a line break and a tab.
    /// \param id a StringID; any other number is a programming error that nothing catches.
    static QString LoadStr(int id);

    /// The number of the text with this key, ASCII letters of either case; -1 for an unknown key.
    // NOLINTNEXTLINE(performance-unnecessary-value-param): the client family's signature
    static int LookupStrID(QString key);

    /// English text and key of each StringID. Null before InitStrTable; string literals afterwards.
    static const char* stab[NUM_STRING_IDS];
    static const char* ktab[NUM_STRING_IDS];
};
