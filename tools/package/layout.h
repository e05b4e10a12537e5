#pragma once

#include "tools/package/entry.h"

#include <cstddef>

namespace package {

/// Where the launcher looks, below the client's folder and below the installation.
constexpr char infoName[] = "INFO";
constexpr char clientName[] = "bin/cloud-tessel-ui";
constexpr char scriptName[] = "package/start-stop";
constexpr char packageFolder[] = "/package";
constexpr char packageFile[] = "/package/skylark.tpx";
constexpr char infoFile[] = "/INFO";

/// No version record and no start script is larger: a wrong file has taken the name.
constexpr size_t lookedIntoLimit = 1 << 20;

/// True for the files whose content the rules read: INFO and the start-stop script.
bool isLookedInto(const std::string& name);

/// True where what came before must be known to be whole: see the order below.
bool opensNewSection(const std::string& name);

/// Sorts by the bytes of the names, so that a folder precedes what it holds, and then moves the
/// client executable and INFO to the end. The launcher takes a copy for complete that has both the
/// executable and INFO's build number: whenever it is killed before that, the next start installs
/// anew.
void putInOrder(Entries& entries);

} // namespace package
