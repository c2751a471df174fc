#pragma once
// Every kind of share the tests can start here, for checks that must hold on each.
#include "NetworkShare.h"
#include "SmbShare.h"
#include "SshShare.h"

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

} // namespace testsupport
