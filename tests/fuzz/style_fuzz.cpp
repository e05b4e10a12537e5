// The scaling of style sheets: nothing but numbers changes, and none becomes another word.
#include "libui/DPIinfo.h"
#include "tests/fuzz/require.h"

#include <QGuiApplication>
#include <QString>

#include <cstddef>
#include <cstdint>

namespace {

QString withoutNumbers(QString text) {
    for (const char digit : {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9', '.'}) {
        text.remove(QLatin1Char(digit));
    }
    return text;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_FONT_DPI", "144");
    new QGuiApplication(*argc, *argv); // needed up to the end of the process
    require(DPIinfo::getInstance()->getDPI() == 1.5, "the screen scales");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const QString sheet =
        QString::fromUtf8(reinterpret_cast<const char*>(bytes), static_cast<int>(size));
    const QString scaled = DPIinfo::getInstance()->getScaledStyleSheet(sheet);
    require(withoutNumbers(scaled) == withoutNumbers(sheet), "only numbers change");
    require(sheet.contains("px", Qt::CaseInsensitive) || scaled == sheet, "only pixels scale");
    return 0;
}
