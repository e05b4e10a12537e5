// Uses a bit of each layer; what it needs to compile and link comes with the one target.
#include "lib/ustring/ustring.h"
#include "libcommon/QuorLocale.h"
#include "libui/UIPathManager.h"
#include "ui-client/launcher/extractor.h"
#include "ui-client/launcher/texts/strtab.h"

#include <QFile>

int main() {
    StrTable::InitStrTable();
    UIPathManager::getInstance()->setPath("key", "value");
    Extractor extractor;
    extractor.SetSource(ustring("/nonexistent/package"));
    extractor.SetTarget(ustring("/nonexistent/target"));
    const bool works = QFile::exists(":/" + QuorLocale::getDefaultLanguage() + ".qm") &&
                       !StrTable::LoadStr(StrTable::StringID(5)).isEmpty() &&
                       UIPathManager::getInstance()->getPath("key") == "value" &&
                       extractor.Count() == -1;
    return works ? 0 : 1;
}
