#pragma once
// Every kind of share the tests can start here, for checks that must hold on each.
#include "NetworkShare.h"
#include "SmbShare.h"
#include "SshShare.h"

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

// A test name's part for the kind ("Sshfs", "Smb").
inline std::string ShareKindName(const std::string& kind) {
    return kind == kSmb ? "Smb" : "Sshfs";
}

} // namespace testsupport
