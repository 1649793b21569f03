// SPDX-License-Identifier: MIT
// Where drivers are.
#include "tdr/driverSearch.h"

#include <cerrno>
#include <cstdlib>
#include <map>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace fs = std::filesystem;

namespace tdr {

namespace {

constexpr std::string_view kDriverSuffix = "Filter";

/// Below a prefix and below ~/.local.
constexpr const char* kInstalledDrivers = "lib/tdr/drivers";

/// Also one that cannot be examined: its start will tell why.
bool isDriver(const fs::path& path) {
    if (!path.filename().string().ends_with(kDriverSuffix)) {
        return false;
    }
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    return (fs::is_regular_file(status) || !fs::status_known(status)) &&
           (::access(path.c_str(), X_OK) == 0 || errno != EACCES);
}

} // namespace

std::vector<fs::path> driverFolders() {
    std::vector<fs::path> folders;
    if (const char* home = ::secure_getenv("HOME"); home != nullptr && *home == '/') {
        folders.push_back(fs::path(home) / ".local" / kInstalledDrivers);
    }
    std::error_code error;
    const fs::path own = fs::read_symlink("/proc/self/exe", error).parent_path();
    if (!error) {
        folders.push_back(own);
        folders.push_back(own.parent_path() / kInstalledDrivers);
    }
    folders.emplace_back(TDR_PROGRAM_FOLDER);
    folders.push_back(fs::path(TDR_PROGRAM_FOLDER).parent_path() / kInstalledDrivers);
    return folders;
}

std::vector<fs::path> driversIn(const fs::path& folder, std::error_code& error) {
    std::vector<fs::path> programs;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        if (isDriver(entry.path())) {
            programs.push_back(entry.path());
        }
    }
    return programs;
}

std::vector<fs::path> findDrivers(std::span<const fs::path> folders) {
    std::map<std::string, fs::path> byName;
    for (const fs::path& folder : folders) {
        std::error_code error;
        for (const fs::path& program : driversIn(folder, error)) {
            byName.emplace(program.filename().string(), program);
        }
    }
    std::vector<fs::path> programs;
    programs.reserve(byName.size());
    for (auto& [name, path] : byName) {
        programs.push_back(std::move(path));
    }
    return programs;
}

} // namespace tdr
