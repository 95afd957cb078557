// nvqscan profile pack|unpack|show|check: scanner profiles, for those who write them.
#pragma once

#include <iosfwd>
#include <string>

namespace CLI {
class App;
}

struct ProfileOptions {
    std::string m_file;
    std::string m_output;
    bool m_isBuiltin = false;  // the profile that the driver carries, in place of a file
    CLI::App* m_pack = nullptr;
    CLI::App* m_unpack = nullptr;
    CLI::App* m_show = nullptr;
    CLI::App* m_check = nullptr;
};

CLI::App* AddProfile(CLI::App& app, ProfileOptions& options);

// Runs what was parsed. Exit codes: 1 for a file that can't be written and for a profile that
// `check` has found an error in; 2 for wrong use and for a file that can't be read or is no
// profile.
int RunProfile(const ProfileOptions& options, std::ostream& out, std::ostream& errors);
