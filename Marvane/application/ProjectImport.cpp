#include "Marvane/application/ProjectImport.h"
#include "Marvane/core/MainThread.h"
#include "Marvane/fileservices/FileWriting.h"

#include "Marvane/fileservices/FileCopy.h"
#include "Marvane/fileservices/FolderMount.h"
#include "Marvane/fileservices/TemporaryFiles.h"
#include "Marvane/fileservices/TreeWalk.h"
#include "host/ApplicationLayer.h"
#include "host/DebugTrace.h"
#include "host/FileServices.h"
#include "host/Messaging.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace host {

namespace fs = std::filesystem;

namespace {

// Counts the files (and links) below the path, and the bytes of the regular ones.
class Measuring : public TreeVisitor {
public:
    std::uint64_t files = 0;
    std::uint64_t bytes = 0;

    WalkStep Enter(const TreeWalkEntry& entry) override {
        if (!entry.IsFolder()) {
            ++files;
            bytes += S_ISREG(entry.status.st_mode)
                         ? static_cast<std::uint64_t>(entry.status.st_size)
                         : 0;
        }
        return WalkStep::kContinue;
    }
    WalkStep Failed(const TreeWalkEntry&, int) override { return WalkStep::kContinue; }
};

void Measure(const fs::path& path, std::uint64_t& files, std::uint64_t& bytes) {
    Measuring measuring;
    WalkTree(path, measuring);
    files += measuring.files;
    bytes += measuring.bytes;
}

bool Reserved(const fs::path& path, const std::vector<fs::path>& reserved) {
    for (const fs::path& taken : reserved) {
        if (taken == path) {
            return true;
        }
    }
    return false;
}

} // namespace

ProjectImport& ProjectImport::Instance() {
    static ProjectImport import;
    return import;
}

ProjectImport::~ProjectImport() {
    Cancel();
    if (mWorker.joinable()) {
        mWorker.join();
    }
}

void ProjectImport::Add(const std::vector<fs::path>& projects, const fs::path& folder) {
    Queue({projects, folder, 0, {}});
}

void ProjectImport::AddAs(const fs::path& project, const fs::path& destination) {
    Queue({{project}, destination.parent_path(), 0, destination.filename()});
}

void ProjectImport::Queue(Batch batch) {
    if (batch.projects.empty()) {
        return;
    }
    std::unique_lock lock(mMutex);
    if (!mWorking && !mRoundOpen) {
        // A new round of work: the panel shows it from the start.
        mProgress = ImportProgress();
        mAnyCancelled = false;
    }
    if (!mRoundOpen && MainThreadHasEventLoop() && CurrentThreadIsMainThread()) {
        mRoundOpen = true;
        QueueOnMainThread([this] {
            const std::lock_guard guard(mMutex);
            mRoundOpen = false;
        });
    }
    mProgress.state = ImportProgress::State::Running;
    mProgress.projectsTotal += batch.projects.size();
    batch.id = mNextBatch++;
    mQueue.push_back(std::move(batch));
    if (!mWorking) {
        mWorking = true;
        if (mWorker.joinable()) {
            lock.unlock();
            mWorker.join();
            lock.lock();
        }
        mWorker = std::thread([this] { Run(); });
    }
}

ImportProgress ProjectImport::Progress() const {
    const std::lock_guard guard(mMutex);
    return mProgress;
}

void ProjectImport::Cancel() {
    const std::lock_guard guard(mMutex);
    if (mWorking) {
        // Everything queued so far; work added later is not touched.
        mCancelledBelow = mNextBatch;
        mAnyCancelled = true;
        mQueue.clear();
    }
}

void ProjectImport::SetCopyHookForTesting(std::function<void()> hook) {
    const std::lock_guard guard(mMutex);
    mCopyHook = std::move(hook);
}

bool ProjectImport::IsCancelled(const Batch& batch) const {
    return batch.id < mCancelledBelow;
}

bool ProjectImport::Wait(int timeoutMs) {
    std::unique_lock lock(mMutex);
    return mDone.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this] { return !mWorking; });
}

void ProjectImport::ClearFinished() {
    const std::lock_guard guard(mMutex);
    if (!mWorking) {
        mProgress = ImportProgress();
    }
}

void ProjectImport::Run() {
    for (;;) {
        Batch batch;
        {
            std::unique_lock lock(mMutex);
            if (mQueue.empty()) {
                mProgress.state = mAnyCancelled ? ImportProgress::State::Cancelled
                                                : ImportProgress::State::Finished;
                mProgress.currentProject.clear();
                mWorking = false;
                mDone.notify_all();
                return;
            }
            batch = std::move(mQueue.front());
            mQueue.pop_front();
        }
        CopyBatch(batch);
    }
}

void ProjectImport::CopyBatch(const Batch& batch) {
    // Measured here, off the main thread: a big project folder takes a while to walk.
    std::uint64_t files = 0;
    std::uint64_t bytes = 0;
    for (const fs::path& project : batch.projects) {
        Measure(project, files, bytes);
    }
    {
        const std::lock_guard guard(mMutex);
        mProgress.filesTotal += files;
        mProgress.bytesTotal += bytes;
    }
    std::vector<fs::path> reserved;
    for (const fs::path& project : batch.projects) {
        {
            const std::lock_guard guard(mMutex);
            if (IsCancelled(batch)) {
                return;
            }
            mProgress.currentProject = project.filename().string();
        }
        if (CopyOne(batch, project, reserved)) {
            const std::lock_guard guard(mMutex);
            ++mProgress.projectsDone;
        }
    }
}

bool ProjectImport::CopyOne(const Batch& batch, const fs::path& project,
                            std::vector<fs::path>& reserved) {
    static unsigned counter = 0;
    const fs::path& folder = batch.folder;
    // A project given through a link is copied itself, never as a link back to the original.
    std::error_code resolveError;
    fs::path source = project.has_filename() ? project : project.parent_path();
    if (fs::is_symlink(source, resolveError)) {
        source = fs::canonical(source, resolveError);
    }
    const fs::path temporary =
        folder / ("." + source.filename().string() + ".adding." + std::to_string(::getpid()) + "." +
                  std::to_string(counter++));
    // Noted until it is in place or removed: a run killed meanwhile has it removed at the next
    // start.
    const TemporaryFileNote note(temporary);
    std::vector<fs::path> made;
    const CopyProgress progress = [this, &batch](std::uint64_t bytes, bool fileDone) {
        std::function<void()> hook;
        {
            const std::lock_guard guard(mMutex);
            mProgress.bytesDone += bytes;
            mProgress.filesDone += fileDone ? 1u : 0u;
            hook = mCopyHook;
        }
        if (hook) {
            hook();
        }
        const std::lock_guard guard(mMutex);
        return !IsCancelled(batch);
    };
    try {
        if (resolveError) {
            throw FileException("Cannot read " + project.string() + ": " + resolveError.message());
        }
        // Not copied at all beneath the production's lost mount, where it could never be put
        // in place.
        if (const std::string gone = MountGoneUnder(folder); !gone.empty()) {
            throw FileException("Cannot add " + project.string() + " to " + folder.string() + ": " +
                                    gone,
                                ENOTCONN);
        }
        CopyTree(source, temporary, made, progress, nullptr, true);
    } catch (const CopyCancelled&) {
        RemoveMade(made);
        return false;
    } catch (const FileException& error) {
        RemoveMade(made);
        Trace("Host", 2, std::string("Adding a project failed: ") + error.what());
        // The exception names the private name the copy was made under; the person gets the
        // project, the folder and the reason.
        const std::string reason = error.ErrorNumber() != 0 && error.ErrorNumber() != ENOTCONN
                                       ? std::string(std::strerror(error.ErrorNumber()))
                                       : std::string(error.what());
        const std::lock_guard guard(mMutex);
        mProgress.failures.push_back("\"" + source.filename().string() +
                                     "\" could not be copied into \"" + folder.string() +
                                     "\": " + reason + ".");
        return false;
    }
    // Into place under the project's own name, or a fresh one when that is taken; never over
    // anything, even if someone else puts a file there meanwhile.
    fs::path target = folder / (batch.name.empty() ? source.filename() : batch.name);
    int lastError = 0;
    for (int attempt = 0; attempt < 100; ++attempt) {
        if (Reserved(target, reserved) || FileOrDirExists(ToUTF16(target.string()))) {
            std::vector<WideString> taken;
            for (const fs::path& path : reserved) {
                taken.push_back(ToUTF16(path.string()));
            }
            target = fs::path(ToUTF8(GetMvProductionItemCopyPath(ToUTF16(target.string()), taken)));
        }
        // On shares that cannot rename without replacing, linked then unlinked.
        lastError = RenameNoReplace(temporary, target);
        if (lastError == 0) {
            reserved.push_back(target);
            const std::lock_guard guard(mMutex);
            mProgress.added.push_back(target);
            return true;
        }
        if (lastError != EEXIST) {
            break;
        }
    }
    const int error = lastError;
    RemoveMade(made);
    const std::lock_guard guard(mMutex);
    mProgress.failures.push_back("\"" + source.filename().string() +
                                 "\" could not be put in place in \"" + folder.string() +
                                 "\": " + std::strerror(error) + ".");
    return false;
}

} // namespace host
