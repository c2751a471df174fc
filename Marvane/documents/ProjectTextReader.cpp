#include "Marvane/documents/ProjectTextReader.h"

#include <utility>

namespace host {

namespace {

// Bytes of text a string took, with its quotes and the comma after it: what the reader has
// gone through, near enough for a progress line (names are nearly all of a project's text).
std::size_t TextBytesOf(const std::string& value) {
    return value.size() + 3;
}

// How many events pass between two looks at the watch.
constexpr std::uint64_t kEventsPerLook = 4096;

} // namespace

bool ProjectTextReader::WellFormed() const {
    bool ok = mHasVersion && mVersionIsInteger && (!mHasName || mNameIsString);
    // Formats are numbered from 1.
    ok = ok && (mVersionIsUnsigned ? mUnsignedVersion >= 1 : mVersion >= 1);
    return ok && mBins.wellFormed && mSequences.wellFormed;
}

bool ProjectTextReader::IsNewerFormat(std::uint64_t& version) const {
    if (!mHasVersion || !mVersionIsUnsigned || (mHasName && !mNameIsString) ||
        mUnsignedVersion <= static_cast<std::uint64_t>(kProjectFormatVersion)) {
        return false;
    }
    version = mUnsignedVersion;
    return true;
}

void ProjectTextReader::TakeContent(ProjectContent& content, const std::string& nameWhenNone) {
    content.formatVersion = static_cast<int>(
        mVersionIsUnsigned ? static_cast<std::int64_t>(mUnsignedVersion) : mVersion);
    content.name = mHasName ? std::move(mName) : nameWhenNone;
    content.bins = std::move(mBins.items);
    content.sequences = std::move(mSequences.items);
    content.otherMembers = mOthers.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

bool ProjectTextReader::number_integer(json::number_integer_t value) {
    if (mDepth == 1 && mMember == Member::Version) {
        mVersionIsInteger = true;
        mVersionIsUnsigned = false;
        mVersion = value;
    }
    return Scalar(json(value));
}

bool ProjectTextReader::number_unsigned(json::number_unsigned_t value) {
    if (mDepth == 1 && mMember == Member::Version) {
        mVersionIsInteger = true;
        mVersionIsUnsigned = true;
        mUnsignedVersion = value;
    }
    return Scalar(json(value));
}

bool ProjectTextReader::string(std::string& value) {
    const std::size_t bytes = TextBytesOf(value);
    if (Names* names = CurrentNames(); names != nullptr && mDepth == 2) {
        if (names->wellFormed) {
            names->items.push_back(std::move(value));
        }
        return Advance(bytes);
    }
    if (mDepth == 1 && mMember == Member::Name) {
        mNameIsString = true;
        mName = std::move(value);
        return Advance(bytes);
    }
    return Scalar(json(std::move(value))) && Advance(bytes);
}

bool ProjectTextReader::key(std::string& value) {
    if (mDepth == 1) {
        mKey = std::move(value);
        // A member given twice counts as its last value, as in any JSON object.
        if (mKey == "formatVersion") {
            mMember = Member::Version;
            mHasVersion = true;
            mVersionIsInteger = false;
            mVersionIsUnsigned = false;
        } else if (mKey == "name") {
            mMember = Member::Name;
            mHasName = true;
            mNameIsString = false;
            mName.clear();
        } else if (mKey == "bins" || mKey == "sequences") {
            mMember = mKey == "bins" ? Member::Bins : Member::Sequences;
            Names& names = mKey == "bins" ? mBins : mSequences;
            names.items.clear();
            names.wellFormed = false; // until its value shows to be an array
            if (&names == &mSequences) {
                // Room for as many names as the text can hold: pages never written are never
                // taken, and the names are never moved while they are read.
                constexpr std::size_t kShortestNameInText = 3; // "",
                names.items.reserve(mTextBytes / kShortestNameInText, mTextBytes);
            }
        } else {
            mMember = Member::Other;
        }
        return Advance(TextBytesOf(mKey));
    }
    if (mMember == Member::Other) {
        mOtherKey = std::move(value);
    }
    return true;
}

bool ProjectTextReader::start_object(std::size_t) {
    return StartContainer(json::object());
}

bool ProjectTextReader::start_array(std::size_t) {
    if (mDepth == 1 && (mMember == Member::Bins || mMember == Member::Sequences)) {
        CurrentNames()->wellFormed = true;
        ++mDepth;
        return true;
    }
    return StartContainer(json::array());
}

bool ProjectTextReader::StartContainer(json container) {
    if (mDepth == 0) {
        // The project is an object; an array is no project.
        if (!container.is_object()) {
            return false;
        }
        mDepth = 1;
        return true;
    }
    if (Names* names = CurrentNames(); names != nullptr && mDepth == 2) {
        names->wellFormed = false;
        names->items.clear();
    }
    if (mMember == Member::Other) {
        mOtherStack.push_back(AddToOther(std::move(container)));
    }
    ++mDepth;
    return true;
}

bool ProjectTextReader::EndContainer() {
    --mDepth;
    if (mMember == Member::Other && !mOtherStack.empty()) {
        mOtherStack.pop_back();
        if (mOtherStack.empty()) {
            mOthers[mKey] = std::move(mOther);
            mOther = json();
        }
    }
    return true;
}

bool ProjectTextReader::Scalar(json value) {
    if (mDepth == 0) {
        return false; // a project is an object
    }
    if (mMember == Member::Other) {
        if (mOtherStack.empty()) {
            mOthers[mKey] = std::move(value);
        } else {
            AddToOther(std::move(value));
        }
        return true;
    }
    if (mDepth == 1) {
        // A known member of the wrong kind (a version that is no integer, a name that is no
        // string, names that are no array).
        if (Names* names = CurrentNames()) {
            names->wellFormed = false;
        }
        return true;
    }
    if (Names* names = CurrentNames(); names != nullptr && mDepth == 2) {
        names->wellFormed = false;
        names->items.clear();
    }
    return true;
}

ProjectTextReader::json* ProjectTextReader::AddToOther(json value) {
    if (mOtherStack.empty()) {
        mOther = std::move(value);
        return &mOther;
    }
    json& container = *mOtherStack.back();
    if (container.is_array()) {
        container.push_back(std::move(value));
        return &container.back();
    }
    json& member = container[mOtherKey];
    member = std::move(value);
    return &member;
}

ProjectTextReader::Names* ProjectTextReader::CurrentNames() {
    if (mMember == Member::Bins) {
        return &mBins;
    }
    if (mMember == Member::Sequences) {
        return &mSequences;
    }
    return nullptr;
}

bool ProjectTextReader::Advance(std::size_t bytes) {
    mBytes += bytes;
    if (mWatch == nullptr || ++mEvents % kEventsPerLook != 0) {
        return true;
    }
    mWatch->parsedBytes.store(mBytes);
    return !mWatch->stop.load();
}

} // namespace host
