#pragma once
// Reads a project's text in one pass, event by event: the names of bins and sequences go
// straight into the content, and only the members this host does not know are built as JSON.
// A project of millions of names is thus held once, as names, never also as a JSON tree; the
// reader tells how far it got and stops when asked to.
#include "Marvane/documents/ProjectContent.h"

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace host {

class ProjectTextReader {
public:
    using json = nlohmann::json;

    // textBytes: the size of the text, an upper bound of the bytes its names take.
    ProjectTextReader(ProjectReadWatch* watch, std::size_t textBytes)
        : mWatch(watch), mTextBytes(textBytes) {}

    // Once the parse accepted the text: whether it is of a format newer than this host reads,
    // and which (asked first: a newer format may hold what this host does not know).
    bool IsNewerFormat(std::uint64_t& version) const;
    // Whether every member the host knows is there and of the right kind.
    bool WellFormed() const;
    // Moves what was read into content; call only when WellFormed().
    void TakeContent(ProjectContent& content, const std::string& nameWhenNone);

    // The events of nlohmann-json's reader.
    bool null() { return Scalar(json(nullptr)); }
    bool boolean(bool value) { return Scalar(json(value)); }
    bool number_integer(json::number_integer_t value);
    bool number_unsigned(json::number_unsigned_t value);
    bool number_float(json::number_float_t value, const std::string&) {
        return Scalar(json(value));
    }
    bool string(std::string& value);
    bool binary(json::binary_t&) { return false; }
    bool start_object(std::size_t);
    bool key(std::string& value);
    bool end_object() { return EndContainer(); }
    bool start_array(std::size_t);
    bool end_array() { return EndContainer(); }
    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) {
        return false;
    }

private:
    enum class Member { Version, Name, Bins, Sequences, Other };

    struct Names {
        NameList items;
        bool wellFormed = true;
    };

    bool Scalar(json value);
    bool StartContainer(json container);
    bool EndContainer();
    // Adds a value to the unknown member being built; the new value itself.
    json* AddToOther(json value);
    Names* CurrentNames();
    // Counts what was read, tells the watch now and then; false when it asks to stop.
    bool Advance(std::size_t bytes);

    ProjectReadWatch* mWatch;
    std::size_t mTextBytes;
    int mDepth = 0;
    Member mMember = Member::Other;
    std::string mKey;

    bool mHasVersion = false;
    bool mVersionIsInteger = false;
    bool mVersionIsUnsigned = false;
    std::int64_t mVersion = 0;
    std::uint64_t mUnsignedVersion = 0;
    bool mHasName = false;
    bool mNameIsString = true;
    std::string mName;
    Names mBins;
    Names mSequences;

    json mOthers = json::object();
    json mOther;                    // the unknown member being read
    std::vector<json*> mOtherStack; // its open arrays and objects
    std::string mOtherKey;          // the key of the next member of an open object

    std::uint64_t mBytes = 0;
    std::uint64_t mEvents = 0;
};

} // namespace host
