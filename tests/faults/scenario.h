#pragma once

#include "tests/faults/tracer.h"

#include <filesystem>
#include <map>
#include <string>

/// What stands where the user's copy of the client belongs.
enum class Copy { none, partial, old_one, new_one };

const char* name(Copy copy);

/// One user with an installed launcher, a package of about forty entries and, where wanted, an old
/// copy that differs in every file and in some names. Everything lies below one scratch folder.
class Scenario {
public:
    /// Installs `installation` (made by "cmake --install") below `scratch` and packs the client.
    static void set_up(const std::filesystem::path& installation,
                       const std::filesystem::path& scratch);

    /// The user number `user`; several may work side by side.
    Scenario(const std::filesystem::path& scratch, int user);

    /// A fresh home, with or without the old copy.
    void reset_home(bool with_old_copy) const;
    /// Starts the launcher under the tracer / as anybody would. Both block to its end.
    Trace run_with(const Fault& fault) const;
    int run() const;

    Copy live() const;
    /// True when the live folder or any backup holds a whole copy, old or new.
    bool whole_copy_exists() const;
    /// How often a start-stop script was run in this home.
    int starts() const;
    /// True when the log holds an ERROR line.
    bool log_tells() const;

    /// The package that this user's launcher sees; a damaged one may be put in its place.
    std::filesystem::path package() const;
    void use_own_installation();

private:
    using Manifest = std::map<std::string, std::string>;

    static Manifest manifest(const std::filesystem::path& folder);
    Copy compare(const std::filesystem::path& folder) const;
    void enter_environment() const;

    std::filesystem::path m_scratch;
    std::filesystem::path m_home;
    std::filesystem::path m_installation;
    Manifest m_old;
    Manifest m_new;
};
