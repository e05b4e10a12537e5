#pragma once

#include <QString>

#include <functional>

/// Runs `work` beside an application whose screen has `scale`, in a child: a process reads the
/// scale once. The caller must not have an application object itself.
QString atScale(double scale, const std::function<QString()>& work);
