#include "Marvane/app/LockCommands.h"

#include "Marvane/application/HostSession.h"
#include "Marvane/application/LockAudit.h"
#include "Marvane/core/JsonText.h"
#include "Marvane/core/TextEscaping.h"
#include "Marvane/projectbackend/LockStates.h"

#include <algorithm>
#include <chrono>
#include <nlohmann/json.hpp>
#include <ostream>

namespace host {

namespace fs = std::filesystem;

namespace {

struct LockCommandOptions {
    std::string verb;
    bool json = false;
    bool force = false;
    std::string user;
    fs::path profile;
    fs::path target;
};

// Takes the option at arguments[index] (and its value); false when it is none of ours.
bool TakeOption(const std::vector<std::string>& arguments, std::size_t& index,
                LockCommandOptions& options) {
    const std::string& argument = arguments[index];
    const bool hasValue = index + 1 < arguments.size();
    if (argument == "--json" && options.verb == "locks") {
        options.json = true;
    } else if (argument == "--force" && options.verb == "unlock") {
        options.force = true;
    } else if (argument == "--user" && hasValue) {
        options.user = arguments[++index];
    } else if (argument == "--profile" && hasValue) {
        options.profile = arguments[++index];
    } else {
        return false;
    }
    return true;
}

std::string Parse(const std::vector<std::string>& arguments, LockCommandOptions& options) {
    options.verb = arguments.front();
    bool namesOnly = false; // after "--", a name may start with '-'
    for (std::size_t index = 1; index < arguments.size(); ++index) {
        const std::string& argument = arguments[index];
        if (!namesOnly && argument == "--") {
            namesOnly = true;
            continue;
        }
        if (!namesOnly && TakeOption(arguments, index, options)) {
            continue;
        }
        if (!namesOnly && !argument.empty() && argument.front() == '-') {
            return "unknown option " + TerminalText(argument) +
                   " (put -- before a name that starts with '-')";
        }
        if (!options.target.empty()) {
            return "one " + std::string(options.verb == "locks" ? "production" : "project") +
                   " at a time";
        }
        options.target = argument;
    }
    if (options.verb == "unlock" && options.target.empty()) {
        return "unlock needs the project whose lock to remove";
    }
    return {};
}

void SetUpIdentity(const LockCommandOptions& options) {
    HostSession& session = HostSession::Instance();
    session.profileDirectory =
        options.profile.empty() ? DefaultProfileDirectory() : fs::absolute(options.profile);
    session.preferences = LoadPreferences(session.profileDirectory);
    if (!options.user.empty()) {
        session.userOverride = options.user;
    }
}

std::chrono::seconds SilentAfter() {
    return std::chrono::seconds(HostSession::Instance().preferences.silentLockSeconds);
}

std::string UtcText(fs::file_time_type time) {
    const auto system =
        std::chrono::time_point_cast<std::chrono::seconds>(std::chrono::file_clock::to_sys(time));
    const std::time_t seconds = std::chrono::system_clock::to_time_t(system);
    std::tm parts{};
    ::gmtime_r(&seconds, &parts);
    char text[32];
    std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

// Every text from disk is shown escaped, so that no name can steer the terminal or forge a
// row of its own.
std::vector<std::string> Cells(const LockReport& report, const fs::path& production) {
    const bool readable = report.state != LockState::Unreadable;
    return {TerminalText(report.projectPath.lexically_relative(production).string()),
            readable ? TerminalText(report.content.lockingName) : "?",
            readable ? TerminalText(report.content.secondLockingString) : "",
            readable ? TerminalText(report.content.hostName) : "",
            readable ? std::to_string(report.content.processId) : "",
            readable ? TerminalText(report.content.createdUtc) : "",
            readable ? DescribeLastSeen(report.sinceLastSeen) : "",
            LockStateName(report.state)};
}

void PrintTable(const std::vector<LockReport>& reports, const fs::path& production,
                std::ostream& out) {
    std::vector<std::vector<std::string>> rows{
        {"PROJECT", "HOLDER", "SECOND", "MACHINE", "PID", "SINCE", "LAST SEEN", "STATE"}};
    for (const LockReport& report : reports) {
        rows.push_back(Cells(report, production));
    }
    std::vector<std::size_t> widths(rows.front().size(), 0);
    for (const auto& row : rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], TerminalColumns(row[column]));
        }
    }
    for (const auto& row : rows) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            line += row[column];
            if (column + 1 < row.size()) {
                line += std::string(widths[column] - TerminalColumns(row[column]) + 2, ' ');
            }
        }
        out << line << "\n";
    }
}

void PrintJson(const std::vector<LockReport>& reports, const fs::path& production,
               std::ostream& out) {
    nlohmann::json locks = nlohmann::json::array();
    for (const LockReport& report : reports) {
        nlohmann::json lock = nlohmann::json::object();
        SetTextMember(lock, "project", report.projectPath.lexically_relative(production).string());
        lock["state"] = LockStateName(report.state);
        if (report.state != LockState::Unreadable) {
            SetTextMember(lock, "holder", report.content.lockingName);
            SetTextMember(lock, "second", report.content.secondLockingString);
            SetTextMember(lock, "machine", report.content.hostName);
            lock["pid"] = report.content.processId;
            SetTextMember(lock, "since", report.content.createdUtc);
            lock["lastSeen"] = UtcText(report.lastSeen);
            lock["lastSeenSecondsAgo"] = report.sinceLastSeen.count();
        }
        locks.push_back(std::move(lock));
    }
    nlohmann::json listing = nlohmann::json::object();
    SetTextMember(listing, "production", production.string());
    listing["locks"] = std::move(locks);
    out << listing.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
}

int ListLocks(const LockCommandOptions& options, std::ostream& out, std::ostream& err) {
    fs::path production = options.target;
    const bool lastOpened = production.empty();
    if (lastOpened) {
        production = HostSession::Instance().preferences.lastProduction;
    }
    std::error_code error;
    if (production.empty() || !fs::is_directory(production, error)) {
        err << "marvane: "
            << (production.empty()
                    ? std::string("no production named, and none opened before")
                    : "\"" + TerminalText(production.string()) + "\" is not a folder")
            << "\n";
        return 2;
    }
    production = fs::absolute(production).lexically_normal();
    if (!production.has_filename()) {
        production = production.parent_path();
    }
    const std::vector<LockReport> reports = ListProductionLocks(production, SilentAfter());
    if (options.json) {
        PrintJson(reports, production, out); // the listing names its production
        return 0;
    }
    if (lastOpened) {
        // Nobody named it: which production this is, before its locks.
        out << "Locks of \"" << TerminalText(production.string())
            << "\", the production opened last:\n";
    }
    if (reports.empty()) {
        out << "No project of it is locked.\n";
    } else {
        PrintTable(reports, production, out);
    }
    return 0;
}

int Unlock(const LockCommandOptions& options, std::ostream& out, std::ostream& err) {
    const fs::path project = fs::absolute(options.target).lexically_normal();
    LockReport report;
    if (!InspectLock(project, SilentAfter(), report)) {
        // A lock left behind by a project that went is removed like any other; a name that
        // is neither is most likely mistyped.
        std::error_code missing;
        const bool exists = fs::exists(fs::symlink_status(project, missing));
        err << "marvane: \"" << TerminalText(project.string()) << "\" "
            << (exists ? "has no lock" : "does not exist, and no lock of that name does") << ".\n";
        return 1;
    }
    const bool breakable =
        report.state == LockState::Abandoned || report.state == LockState::Silent;
    if (!breakable && !options.force) {
        err << "marvane: the lock of \"" << TerminalText(project.filename().string()) << "\" ";
        if (report.state == LockState::Unreadable) {
            err << "cannot be read (it is not a complete lock)";
        } else {
            err << "is " << LockStateName(report.state) << ": "
                << TerminalText(report.content.lockingName) << " on "
                << TerminalText(report.content.hostName) << " holds it (last seen "
                << DescribeLastSeen(report.sinceLastSeen) << ")";
        }
        err << ". Use --force to remove it anyway.\n";
        return 1;
    }
    LockReplacement replacement;
    replacement.silentToo = true;
    replacement.evenIfLive = options.force;
    replacement.placeOurs = false;
    replacement.silentAfter = SilentAfter();
    std::string removed;
    const TakeOverResult result = ReplaceLockFile(project, replacement, &removed);
    if (result == TakeOverResult::NotAbandoned && report.state == LockState::Unreadable) {
        err << "marvane: \"" << TerminalText(report.lockPath.string())
            << "\" is not a file (a folder, a link or a special file); marvane never removes "
               "such a thing. Look at it and remove it by hand.\n";
        return 1;
    }
    if (result != TakeOverResult::Taken) {
        err << "marvane: the lock of \"" << TerminalText(project.filename().string())
            << "\" changed while it was being removed (another editor locked or took over the "
               "project); nothing was removed.\n";
        return 1;
    }
    const fs::path production =
        AuditProductionFor(project, HostSession::Instance().preferences.lastProduction);
    std::string error;
    if (!RecordLockBreak(production, project, removed, options.force ? "unlock --force" : "unlock",
                         error)) {
        err << "marvane: the lock was removed, but the record of it could not be written: "
            << TerminalText(error) << "\n";
    }
    out << "Removed the " << LockStateName(report.state) << " lock of \""
        << TerminalText(project.filename().string()) << "\"";
    if (report.state != LockState::Unreadable) {
        out << " held by " << TerminalText(report.content.lockingName) << " on "
            << TerminalText(report.content.hostName);
    }
    out << ".\n";
    return 0;
}

} // namespace

bool IsLockCommand(const std::vector<std::string>& arguments) {
    return !arguments.empty() && (arguments.front() == "locks" || arguments.front() == "unlock");
}

int RunLockCommand(const std::vector<std::string>& arguments, std::ostream& out,
                   std::ostream& err) {
    LockCommandOptions options;
    if (const std::string error = Parse(arguments, options); !error.empty()) {
        err << "marvane: " << error << "\n"
            << "usage: marvane locks [--json] [--user NAME] [--profile DIR] [PRODUCTION]\n"
            << "       marvane unlock [--force] [--user NAME] [--profile DIR] [--] PROJECT\n";
        return 2;
    }
    SetUpIdentity(options);
    return options.verb == "locks" ? ListLocks(options, out, err) : Unlock(options, out, err);
}

} // namespace host
