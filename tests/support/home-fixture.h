#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

/// Points HOME at a fresh folder for its lifetime; the folder goes with it.
class HomeFixture {
public:
    HomeFixture();
    ~HomeFixture();
    HomeFixture(const HomeFixture&) = delete;
    HomeFixture& operator=(const HomeFixture&) = delete;

    /// The home folder, or `relative` below it.
    QString path(const QString& relative = QString()) const;

private:
    const QByteArray m_saved;
    QTemporaryDir m_home;
};
