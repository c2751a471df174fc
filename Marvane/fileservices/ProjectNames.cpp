#include "Marvane/fileservices/ProjectNames.h"

namespace host {

namespace {

bool EndsWithFolded(std::string_view text, std::string_view foldedSuffix) {
    if (text.size() < foldedSuffix.size()) {
        return false;
    }
    const std::size_t start = text.size() - foldedSuffix.size();
    for (std::size_t i = 0; i < foldedSuffix.size(); ++i) {
        if (FoldAscii(text[start + i]) != foldedSuffix[i]) {
            return false;
        }
    }
    return true;
}

bool IsProjectFolderExtension(const std::string& extension) {
    return extension.size() > 1 && extension.back() == 'd';
}

} // namespace

char FoldAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string FoldedAscii(std::string_view text) {
    std::string folded(text);
    for (char& c : folded) {
        c = FoldAscii(c);
    }
    return folded;
}

bool ContainsFolded(std::string_view text, std::string_view foldedNeedle) {
    if (foldedNeedle.empty()) {
        return true;
    }
    if (text.size() < foldedNeedle.size()) {
        return false;
    }
    const char first = foldedNeedle.front();
    for (std::size_t start = 0; start + foldedNeedle.size() <= text.size(); ++start) {
        if (FoldAscii(text[start]) != first) {
            continue;
        }
        std::size_t i = 1;
        while (i < foldedNeedle.size() && FoldAscii(text[start + i]) == foldedNeedle[i]) {
            ++i;
        }
        if (i == foldedNeedle.size()) {
            return true;
        }
    }
    return false;
}

ProjectNames::ProjectNames(const std::vector<WideString>& extensions) {
    for (const WideString& extension : extensions) {
        if (!extension.empty()) {
            mExtensions.push_back(FoldedAscii(ToUTF8(extension)));
        }
    }
}

const std::string* ProjectNames::ExtensionOf(std::string_view name) const {
    for (const std::string& extension : mExtensions) {
        if (name.size() > extension.size() && EndsWithFolded(name, extension)) {
            return &extension;
        }
    }
    return nullptr;
}

ProjectNames::Kind ProjectNames::KindOf(std::string_view name, bool isFolder,
                                        std::size_t& stemLength) const {
    if (name.empty() || name.front() == '.') {
        return Kind::kOther;
    }
    const std::string* extension = ExtensionOf(name);
    if (extension != nullptr && IsProjectFolderExtension(*extension) == isFolder) {
        stemLength = name.size() - extension->size();
        return Kind::kProject;
    }
    return isFolder ? Kind::kFolder : Kind::kOther;
}

WalkStep ProjectWalkVisitor::Root(const TreeWalkEntry& /*entry*/) {
    return WalkStep::kContinue;
}

WalkStep ProjectWalkVisitor::Enter(const TreeWalkEntry& entry) {
    if (entry.depth == 0) {
        return Root(entry);
    }
    const std::string_view name(entry.name);
    std::size_t stem = 0;
    switch (mNames.KindOf(name, entry.IsFolder(), stem)) {
    case ProjectNames::Kind::kProject:
        Project(entry, name, stem);
        break;
    case ProjectNames::Kind::kFolder:
        return Folder(entry, name);
    case ProjectNames::Kind::kOther:
        break;
    }
    return entry.IsFolder() ? WalkStep::kSkip : WalkStep::kContinue;
}

} // namespace host
