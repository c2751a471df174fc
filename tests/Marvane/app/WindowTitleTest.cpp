// The main window names the production, and whose window it is when two editors may share a
// machine (a profile of one's own, or a user given for the run).
#include "Marvane/app/WindowTitle.h"

#include <gtest/gtest.h>

namespace {

host::HostSession SessionWithProfile(const std::filesystem::path& profile) {
    host::HostSession session;
    session.profileDirectory = profile;
    session.preferences.locking.name = "Ana Ruiz";
    return session;
}

TEST(WindowTitle, TheDefaultProfileShowsTheProductionAlone) {
    const host::HostSession session = SessionWithProfile(host::DefaultProfileDirectory());
    EXPECT_EQ(host::MainWindowTitle("Pilot", session), "Marvane \u2014 Pilot");
    EXPECT_EQ(host::MainWindowTitle("", session), "Marvane");
    // The same folder written another way is the same profile.
    const host::HostSession spelled =
        SessionWithProfile(host::DefaultProfileDirectory() / "." / "");
    EXPECT_EQ(host::MainWindowTitle("Pilot", spelled), "Marvane \u2014 Pilot");
}

TEST(WindowTitle, AProfileOfOnesOwnOrAUserForTheRunNamesTheUser) {
    const host::HostSession own = SessionWithProfile("/tmp/profiles/ana");
    EXPECT_EQ(host::MainWindowTitle("Pilot", own), "Marvane \u2014 Pilot (Ana Ruiz)");
    EXPECT_EQ(host::MainWindowTitle("", own), "Marvane (Ana Ruiz)");
    host::HostSession overridden = SessionWithProfile(host::DefaultProfileDirectory());
    overridden.userOverride = "Ben Okafor";
    EXPECT_EQ(host::MainWindowTitle("Pilot", overridden), "Marvane \u2014 Pilot (Ben Okafor)");
}

} // namespace
