#include "Marvane/documents/NameList.h"

#include <limits>
#include <nlohmann/json.hpp>
#include <ostream>
#include <stdexcept>

namespace host {

namespace {

// Offsets are 32-bit: four gigabytes of names, far beyond any project file read.
void CheckRoom(std::size_t bytes) {
    if (bytes > std::numeric_limits<std::uint32_t>::max()) {
        throw std::length_error("a project's names take more than 4 GB");
    }
}

} // namespace

NameList::NameList(std::initializer_list<std::string> names) {
    for (const std::string& name : names) {
        push_back(name);
    }
}

NameList::NameList(const std::vector<std::string>& names) {
    std::size_t bytes = 0;
    for (const std::string& name : names) {
        bytes += name.size();
    }
    reserve(names.size(), bytes);
    for (const std::string& name : names) {
        push_back(name);
    }
}

std::string_view NameList::View(std::size_t index) const {
    const std::size_t start = StartOf(index);
    return std::string_view(mBytes).substr(start, mEnds[index] - start);
}

void NameList::push_back(std::string_view name) {
    CheckRoom(mBytes.size() + name.size());
    mBytes.append(name);
    mEnds.push_back(static_cast<std::uint32_t>(mBytes.size()));
}

void NameList::Set(std::size_t index, std::string_view name) {
    const std::size_t start = StartOf(index);
    const std::size_t length = mEnds[index] - start;
    CheckRoom(mBytes.size() - length + name.size());
    mBytes.replace(start, length, name);
    const auto shift = static_cast<std::int64_t>(name.size()) - static_cast<std::int64_t>(length);
    for (std::size_t at = index; at < mEnds.size(); ++at) {
        mEnds[at] = static_cast<std::uint32_t>(static_cast<std::int64_t>(mEnds[at]) + shift);
    }
}

NameList::Iterator NameList::erase(Iterator at) {
    const std::size_t index = at.Index();
    const std::size_t start = StartOf(index);
    const std::uint32_t length = mEnds[index] - static_cast<std::uint32_t>(start);
    mBytes.erase(start, length);
    mEnds.erase(mEnds.begin() + static_cast<std::ptrdiff_t>(index));
    for (std::size_t after = index; after < mEnds.size(); ++after) {
        mEnds[after] -= length;
    }
    return {this, index};
}

void NameList::clear() {
    mBytes.clear();
    mEnds.clear();
}

void NameList::reserve(std::size_t names, std::size_t bytes) {
    mEnds.reserve(names);
    mBytes.reserve(bytes);
}

std::vector<std::string> NameList::ToVector() const {
    return {begin(), end()};
}

bool operator==(const NameList& list, const std::vector<std::string>& names) {
    if (list.size() != names.size()) {
        return false;
    }
    for (std::size_t index = 0; index < names.size(); ++index) {
        if (list.View(index) != names[index]) {
            return false;
        }
    }
    return true;
}

void to_json(nlohmann::json& json, const NameList& names) {
    json = nlohmann::json::array();
    for (std::size_t index = 0; index < names.size(); ++index) {
        json.push_back(names[index]);
    }
}

void PrintTo(const NameList& names, std::ostream* out) {
    *out << "{";
    for (std::size_t index = 0; index < names.size(); ++index) {
        *out << (index == 0 ? " \"" : ", \"") << names.View(index) << "\"";
    }
    *out << " }";
}

} // namespace host
