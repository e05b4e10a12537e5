#pragma once

#include <QByteArray>

#include <functional>
#include <string>

/// Runs `work` in a forked child and waits for it.
/// \return its result as exit status; 128 + n where signal n ended it.
int inChild(const std::function<int()>& work);

/// The same as an ordinary user (uid and gid 65534), since root is refused nothing by permissions.
/// Where the tests themselves run as an ordinary user, the child keeps that user.
int asOrdinaryUser(const std::function<int()>& work);

/// Runs `work` in a forked child and waits for it: for state that a process has only once.
/// \return what it answered; empty where the child did not come to an end.
std::string answerOfChild(const std::function<std::string()>& work);

struct ChildRun {
    int status;        // as inChild answers it
    QByteArray output; // what it wrote to standard output
    QByteArray errors; // and to standard error
};
/// inChild, with both standard streams kept.
ChildRun observeChild(const std::function<int()>& work);
