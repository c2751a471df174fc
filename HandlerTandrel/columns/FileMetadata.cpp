#include "columns/FileMetadata.h"

#include "columns/DisplayName.h"
#include "host/ApplicationLayer.h"
#include "host/ExceptionLog.h"
#include "host/FileServices.h"
#include "host/Formatting.h"
#include "host/Profiler.h"
#include "host/ProjectBackEnd.h"

namespace HandlerTandrel::Columns {

namespace {

constexpr std::int64_t kTicksPerSecond = 10'000'000;

host::WideString LocalDateTime(std::int64_t secondsSince1970) {
    return host::ToUTF16(host::FormatLocalDateTime(secondsSince1970));
}

host::WideString Decimal(std::int64_t value) {
    return host::ToUTF16(std::to_string(value));
}

} // namespace

FileMetadata::FileMetadata(host::WideString itemPath) : path(std::move(itemPath)) {}

void FileMetadata::Update(bool all, ColumnID column) {
    const host::ScopedTimer timer("HandlerTandrel::Columns::FileMetadata::FileMetadata()");
    try {
        UpdateSteps(all, column);
    } catch (const std::exception& error) {
        host::LogException("HandlerTandrel::Columns::FileMetadata::Update", error);
    } catch (...) {
        host::LogUnknownException("HandlerTandrel::Columns::FileMetadata::Update");
    }
}

void FileMetadata::UpdateSteps(bool all, ColumnID column) {
    if (all || column == kNameColumn) {
        displayName = DisplayNameOf(path);
    }
    if (all || column == kLockColumn) {
        UpdateLock();
    }
    const bool wantsDates =
        all || column == kModifiedColumn || column == kCreatedColumn || column == kSizeColumn;
    if (!wantsDates) {
        return;
    }
    const host::FileInfo file(path);
    if (!file.Exists()) {
        return;
    }
    // Integer division truncates toward zero: 1.9999999 s gives 1, -2.5 s gives -2.
    if (all || column == kModifiedColumn) {
        modifiedTime = file.Modified() / kTicksPerSecond;
        hasModifiedTime = true;
    }
    if (all || column == kCreatedColumn) {
        createdTime = file.Created() / kTicksPerSecond;
        hasCreatedTime = true;
    }
    if (all || column == kSizeColumn) {
        size = file.Size();
        hasSize = true;
    }
}

void FileMetadata::UpdateLock() {
    host::ByteString userName;
    host::ByteString second;
    host::GetProjectLockingPrefs(userName, second);
    TakeLock(host::ReadProjectLockFile(host::ToUTF8(path), userName, second));
}

void FileMetadata::TakeLock(const host::ProjectLockFilePtr& lock) {
    if (!lock) {
        lockOwner.clear();
        hasLockFile = false;
    } else {
        lockOwner = host::ToUTF16(lock->GetOwnerName());
        lockOwnedByCurrentUser = lock->IsOwnedByCaller();
        hasLockFile = true;
    }
}

void FileMetadata::UpdateFromListing(const Listed& listed) {
    const host::ScopedTimer timer("HandlerTandrel::Columns::FileMetadata::FileMetadata()");
    try {
        displayName = DisplayNameOf(path);
        if (listed.lockRead) {
            TakeLock(listed.lock);
        } else if (listed.lockListed) {
            UpdateLock();
        } else {
            lockOwner.clear();
            hasLockFile = false;
        }
        // Integer division truncates toward zero, as Update does.
        modifiedTime = listed.modifiedTicks / kTicksPerSecond;
        hasModifiedTime = true;
        createdTime = listed.createdTicks / kTicksPerSecond;
        hasCreatedTime = true;
        size = listed.size;
        hasSize = true;
    } catch (const std::exception& error) {
        host::LogException("HandlerTandrel::Columns::FileMetadata::Update", error);
    } catch (...) {
        host::LogUnknownException("HandlerTandrel::Columns::FileMetadata::Update");
    }
}

host::WideString FileMetadata::GetDisplayString(ColumnID column) const {
    if (path.empty()) {
        return {};
    }
    switch (column) {
    case kNameColumn:
        return displayName;
    case kLockColumn:
        return lockOwner;
    case kModifiedColumn:
        return hasModifiedTime ? LocalDateTime(modifiedTime) : host::WideString();
    case kCreatedColumn:
        return hasCreatedTime ? LocalDateTime(createdTime) : host::WideString();
    case kSizeColumn:
        return hasSize ? host::ToUTF16(host::NumberToMemoryString(size, 2, false))
                       : host::WideString();
    default:
        return {};
    }
}

host::WideString FileMetadata::GetSortString(ColumnID column) const {
    return path.empty() ? host::WideString() : GetFieldSortString(column);
}

host::WideString FileMetadata::GetFieldSortString(ColumnID column) const {
    switch (column) {
    case kNameColumn:
        return displayName;
    case kLockColumn:
        return lockOwner.empty() ? host::WideString(kUnlockedSortKey) : lockOwner;
    case kModifiedColumn:
        return hasModifiedTime ? Decimal(modifiedTime) : host::WideString();
    case kCreatedColumn:
        return hasCreatedTime ? Decimal(createdTime) : host::WideString();
    case kSizeColumn:
        return hasSize ? host::ToUTF16(std::to_string(size)) : host::WideString();
    default:
        return {};
    }
}

} // namespace HandlerTandrel::Columns
