#include "utils/CopyFiles.h"

#include "host/ApplicationLayer.h"
#include "host/ExceptionLog.h"
#include "host/FileServices.h"
#include "host/Localizer.h"
#include "host/UIFramework.h"
#include "utils/MoveItems.h"

#include <map>

namespace HandlerTandrel::Utils {

namespace {

constexpr std::string_view kCopyToSubDirTitleKey =
    "$$$/Marvane/Handlers/MvProductionFolder/CopyToSubDir=Copying to Sub-Directory";
constexpr std::string_view kCannotCopyToSubDirKey =
    "$$$/Marvane/Handlers/MvProductionFolder/CannotCopyToSubDir=Can't copy a folder to one of "
    "its sub-directories";
constexpr std::string_view kFileExistsTitleKey =
    "$$$/Marvane/Handlers/MvProductionFolder/FileExists=File Exists";
constexpr std::string_view kFileAlreadyExistsKey =
    "$$$/Marvane/Handlers/MvProductionFolder/FileAlreadyExists=File already exists";

void ShowRefusal(std::string_view titleKey, std::string_view messageKey) {
    host::ShowMessageBox(host::Localize(titleKey), host::Localize(messageKey), {}, host::kNoIcon,
                         0);
}

host::WideString Join(const host::WideString& folder, const host::WideString& name) {
    host::WideString joined = host::StripTrailingSlash(folder);
    if (joined.empty() || joined.back() != u'/') {
        joined += u'/';
    }
    return joined + name;
}

host::WideString WithTrailingSeparator(host::WideString path) {
    if (path.empty() || path.back() != u'/') {
        path += u'/';
    }
    return path;
}

char16_t FoldAscii(char16_t c) {
    return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c - u'A' + u'a') : c;
}

// The work plan: normalised source to destination, carried out in the map's order.
using Plan = std::map<host::WideString, host::WideString>;

// Carries the plan out; done gets each item that reached its destination.
void Execute(const Plan& plan, Transfer transfer, host::ItemByItemWork* work, Plan& done) {
    for (const auto& [source, destination] : plan) {
        if (work != nullptr && !work->ItemDone()) {
            return; // stopped by the person: what was done stays done
        }
        if (transfer == Transfer::kCopy) {
            host::Copy(source, destination); // a folder is copied with all it holds
            done[source] = destination;
        } else if (MoveOneItem(source, destination)) {
            done[source] = destination;
        }
    }
}

// Tells the host what the batch did, so that Edit > Undo can take it back (a batch stopped
// part-way is the part that was done).
void RecordDone(const Plan& done, Transfer transfer, const host::WideString& destinationFolder) {
    if (done.empty()) {
        return;
    }
    host::OrganisingStep step;
    if (transfer == Transfer::kCopy) {
        step.kind = host::OrganisingStepKind::kCopy;
    } else if (host::IsTheMvProductionTrashDirectory(destinationFolder)) {
        step.kind = host::OrganisingStepKind::kMoveToTrash;
    }
    for (const auto& [source, destination] : done) {
        if (transfer == Transfer::kCopy) {
            step.made.push_back(destination);
        } else {
            step.moved.emplace_back(source, destination);
        }
    }
    host::RecordOrganisingStep(step);
}

} // namespace

bool EqualsIgnoringAsciiCase(const host::WideString& a, const host::WideString& b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t index = 0; index < a.size(); ++index) {
        if (FoldAscii(a[index]) != FoldAscii(b[index])) {
            return false;
        }
    }
    return true;
}

bool CopyFiles(const std::vector<host::WideString>& sources,
               const host::WideString& destinationFolder, Transfer transfer, TakenName taken,
               host::ItemByItemWork* work) {
    Plan plan;
    // Items are normalised folder by folder; a link given as an item stays the link (it is
    // moved or copied as a link, never its target).
    host::ItemPathNormalizer normalizer;
    const host::WideString destination = host::ToNormalizedPath(destinationFolder);
    for (const host::WideString& given : sources) {
        if (work != nullptr && !work->ItemDone()) {
            return true; // stopped by the person before anything was done
        }
        const host::WideString source = normalizer.Normalize(given);
        const host::WideString candidate = Join(destination, host::GetPathFileName(source));
        if (!host::FileOrDirExists(candidate)) {
            // A link to a folder moves or is copied as a link: it may go inside that folder.
            if (!host::ProductionSupportsMarvaneProjectFile(source) &&
                host::DirectoryExists(source) &&
                host::IsPathWithinDirectory(destinationFolder, source, true) &&
                !host::IsSymbolicLink(source)) {
                ShowRefusal(kCopyToSubDirTitleKey, kCannotCopyToSubDirKey);
                return true;
            }
            plan[source] = candidate;
        } else if (EqualsIgnoringAsciiCase(candidate, source)) {
            continue; // dropped onto the folder that already holds it
        } else if (taken == TakenName::kRefuse) {
            ShowRefusal(kFileExistsTitleKey, kFileAlreadyExistsKey);
            return true;
        } else {
            plan[source] = host::MakeUniqueFilename(candidate, 1, u"_", {});
        }
    }
    Plan done;
    try {
        Execute(plan, transfer, work, done);
    } catch (const host::FileException& error) {
        host::LogException("HandlerTandrel::Utils::CopyFiles", error);
        RecordDone(done, transfer, destinationFolder);
        return false;
    }
    RecordDone(done, transfer, destinationFolder);
    return true;
}

bool MoveOneItem(const host::WideString& source, const host::WideString& destination) {
    if (host::ProductionSupportsMarvaneProjectFile(source)) {
        // Its move may be refused on the way (a lock taken meanwhile), having said why.
        MoveProjectFile(source, destination);
        return host::FileOrDirExists(destination) && !host::FileOrDirExists(source);
    }
    if (!MoveFileOrFolder(source, destination)) {
        return false;
    }
    if (!host::ProductionSupportsMarvaneProjectFile(destination) &&
        host::DirectoryExists(destination)) {
        RelocateOpenProjects(source, destination);
    }
    return true;
}

void CopyDirectoryTree(const host::WideString& sourceFolder,
                       const host::WideString& destinationFolder) {
    const host::WideString source = WithTrailingSeparator(host::ToNormalizedPath(sourceFolder));
    const host::WideString destination =
        WithTrailingSeparator(host::ToNormalizedPath(destinationFolder));
    for (const host::WideString& found :
         host::FindFilesOrDirectories(source, true, host::FindFilter::Directories)) {
        const host::WideString folder = WithTrailingSeparator(host::ToNormalizedPath(found));
        if (folder.compare(0, source.size(), source) != 0) {
            continue; // reached through a link out of the source: not part of its tree
        }
        const host::WideString target = destination + folder.substr(source.size());
        if (!host::EnsureDirectoryExists(target)) {
            host::LogException(
                "HandlerTandrel::`anonymous-namespace'::CopyDirectoryTree",
                host::FileException("Cannot create the folder " + host::ToUTF8(target)));
        }
    }
}

} // namespace HandlerTandrel::Utils
