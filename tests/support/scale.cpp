#include "tests/support/scale.h"

#include "tests/support/child.h"

#include <QApplication>

QString atScale(double scale, const std::function<QString()>& work) {
    return QString::fromStdString(answerOfChild([scale, &work] {
        qputenv("QT_FONT_DPI", QByteArray::number(qRound(scale * 96)));
        char name[] = "test";
        char* arguments[] = {name, nullptr};
        int count = 1;
        const QApplication application(count, arguments);
        return work().toStdString();
    }));
}
