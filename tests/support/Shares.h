#pragma once
// Every kind of share the tests can start here, for checks that must hold on each.
#include "NetworkShare.h"
#include "SmbShare.h"
#include "SshShare.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace testsupport {

// A share of the kind named (kSshfs or kSmb), not started.
inline std::unique_ptr<NetworkShare> MakeShare(const std::string& kind) {
    if (kind == kSmb) {
        return std::make_unique<SmbShare>();
    }
    return std::make_unique<SshShare>();
}

// The kinds, as test parameters.
inline std::vector<std::string> ShareKinds() {
    return {kSshfs, kSmb};
}

// A test name's part for the kind ("Sshfs", "Smb"), or for a local folder ("Local").
inline std::string ShareKindName(const std::string& kind) {
    return kind == kSmb ? "Smb" : kind == kSshfs ? "Sshfs" : "Local";
}

// Names the tests of a suite instantiated over kinds (a name generator of GoogleTest).
struct ShareParamName {
    std::string operator()(const ::testing::TestParamInfo<std::string>& param) const {
        return ShareKindName(param.param);
    }
};

// A test run on a share of each kind: the share serves exported (root/"Export") and is seen
// at mount; it starts before each test (skipped where no share can be made) and stops after.
// A suite that adds to SetUp calls this one first and returns when the test was skipped.
class ShareTest : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        if (const std::string why = NetworkShare::WhyUnavailable(); !why.empty()) {
            GTEST_SKIP() << why;
        }
        std::filesystem::create_directories(exported);
        ASSERT_EQ(share->Start(exported, root / "work"), "");
        mount = share->Path();
    }
    void TearDown() override {
        share->Stop(); // before the folders go
    }

    // First, so that it goes last, after the share.
    const TemporaryFolder temporary{"share"};
    const std::filesystem::path root = temporary.Path();
    const std::filesystem::path exported = root / "Export";
    std::filesystem::path mount;
    const std::unique_ptr<NetworkShare> share = MakeShare(GetParam());
};

} // namespace testsupport
