#include "tools/doctor/report.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace doctor {

namespace {

bool hasFault(const Findings& findings) {
    return std::any_of(findings.begin(), findings.end(),
                       [](const Finding& finding) { return finding.level == Finding::Fault; });
}

QString lines(const Findings& findings) {
    QString text;
    for (const Finding& finding : findings) {
        const bool isFault = finding.level == Finding::Fault;
        text += QString("  %1  %2: %3\n")
                    .arg(isFault ? "FAULT" : "     ", finding.check, printable(finding.text));
        if (isFault) {
            text += QString("         remedy: %1\n").arg(printable(finding.remedy));
        }
    }
    return text;
}

QJsonArray array(const Findings& findings) {
    QJsonArray list;
    for (const Finding& finding : findings) {
        const bool isFault = finding.level == Finding::Fault;
        QJsonObject object{{"check", finding.check},
                           {"level", isFault ? "fault" : "fact"},
                           {"text", finding.text}};
        if (isFault) {
            object["remedy"] = finding.remedy;
        }
        list.append(object);
    }
    return list;
}

} // namespace

bool Report::isHealthy() const {
    return !hasFault(installation) &&
           std::none_of(homes.begin(), homes.end(),
                        [](const Home& home) { return hasFault(home.findings); });
}

QString printable(const QString& text) {
    QString result;
    for (const QChar character : text) {
        const ushort code = character.unicode();
        if (code < 0x20 || (code >= 0x7f && code < 0xa0)) {
            result += QString("\\x%1").arg(code, 2, 16, QLatin1Char('0'));
        } else {
            result += character;
        }
    }
    return result;
}

QByteArray toText(const Report& report) {
    QString text = "Installation " + printable(report.root) + '\n' + lines(report.installation);
    for (const Report::Home& home : report.homes) {
        text += QString("\nHome %1 (%2)\n").arg(printable(home.path), printable(home.user)) +
                lines(home.findings);
    }
    text += report.isHealthy() ? "\nhealthy\n" : "\nnot healthy\n";
    return text.toUtf8();
}

QByteArray toJson(const Report& report) {
    QJsonArray homes;
    for (const Report::Home& home : report.homes) {
        homes.append(QJsonObject{{"home", home.path},
                                 {"user", home.user},
                                 {"next_start", home.nextStart},
                                 {"healthy", !hasFault(home.findings)},
                                 {"findings", array(home.findings)}});
    }
    const QJsonObject document{
        {"healthy", report.isHealthy()},
        {"installation",
         QJsonObject{{"path", report.root}, {"findings", array(report.installation)}}},
        {"homes", homes}};
    return QJsonDocument(document).toJson(QJsonDocument::Indented);
}

} // namespace doctor
