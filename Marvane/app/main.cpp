// marvane: the standalone host of the Production panel.
#include "Marvane/app/CommandLine.h"
#include "Marvane/app/HostApplication.h"
#include "Marvane/app/LockCommands.h"
#include "Marvane/app/QtLanguage.h"

#include <QApplication>
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <sys/resource.h>

namespace {

QtMessageHandler gQtMessages = nullptr;

// The offscreen platform (scripts, screenshots, runs without a display) warns about window
// hints it cannot carry out: that says nothing to the user, so it is left out.
void QuietOffscreenHints(QtMsgType type, const QMessageLogContext& context, const QString& text) {
    if (text.contains(QStringLiteral("propagateSizeHints"))) {
        return;
    }
    if (gQtMessages != nullptr) {
        gQtMessages(type, context, text);
    }
}

bool HasDisplay() {
    const char* platform = std::getenv("QT_QPA_PLATFORM");
    if (platform != nullptr && platform[0] != '\0') {
        return true; // the caller chose a platform (offscreen, xcb, wayland ...)
    }
    const char* x11 = std::getenv("DISPLAY");
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    return (x11 != nullptr && x11[0] != '\0') || (wayland != nullptr && wayland[0] != '\0');
}

// Copies, moves and removals of folder trees hold a descriptor per level of the tree (two
// while copying): the usual allowance of 1,024 would end a copy of a tree 500 deep. Allowed
// up to 65,536 (as many as the system lets this process have, when that is fewer): more would
// only slow down programs started from here that close every descriptor they might have.
void AllowManyDescriptors() {
    constexpr rlim_t kWanted = 65536;
    struct rlimit limits {};
    if (::getrlimit(RLIMIT_NOFILE, &limits) == 0 && limits.rlim_cur < kWanted) {
        limits.rlim_cur = std::min(kWanted, limits.rlim_max);
        ::setrlimit(RLIMIT_NOFILE, &limits);
    }
}
} // namespace

int main(int argc, char* argv[]) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    AllowManyDescriptors();
    // The lock commands need no window.
    if (host::IsLockCommand(arguments)) {
        return host::RunLockCommand(arguments, std::cout, std::cerr);
    }
    const host::CommandLineResult parsed = host::ParseCommandLine(arguments);
    if (!parsed.error.empty()) {
        std::cerr << "marvane: " << parsed.error << "\n" << host::UsageText();
        return 2;
    }
    if (parsed.options.help) {
        std::cout << host::UsageText();
        return 0;
    }
    if (parsed.options.version) {
        std::cout << host::VersionText() << "\n";
        return 0;
    }
    if (!HasDisplay()) {
        if (!parsed.options.screenshot && !parsed.options.listCommands && !parsed.options.script) {
            std::cerr << "marvane: no display found (neither DISPLAY nor WAYLAND_DISPLAY is set).\n"
                         "Run it on a desktop, or render the window to a picture with "
                         "--screenshot FILE.png.\n";
            return 2;
        }
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
    }
    QApplication application(argc, argv);
    if (QGuiApplication::platformName() == QStringLiteral("offscreen")) {
        gQtMessages = qInstallMessageHandler(QuietOffscreenHints);
    }
    QApplication::setApplicationName(QStringLiteral("Marvane"));
    QApplication::setOrganizationName(QStringLiteral("Marvane"));
    host::UseChosenLanguageForQt(application);
    return host::RunHost(parsed.options, std::cout, std::cerr);
}
