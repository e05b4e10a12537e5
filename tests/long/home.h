#pragma once

#include <sys/types.h>

#include <string>

/// An installation and a home below one scratch folder. The package is always of a higher build
/// than the copy that comes out of it, so every start is an upgrade.
class Home {
public:
    /// \param installation a tree made by "cmake --install".
    /// \param scratch is made and filled.
    /// \param startStop the body of the client's start-stop script.
    Home(const std::string& installation, const std::string& scratch, const std::string& startStop);

    const std::string& path() const { return m_home; }
    const std::string& root() const { return m_root; }
    /// A start of the launcher, running.
    pid_t start() const;

private:
    std::string m_root;
    std::string m_home;
};
