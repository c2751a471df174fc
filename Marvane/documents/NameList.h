#pragma once
// The names of a project's bins or sequences, kept compactly: all their bytes in one buffer and
// where each ends, so that a project of millions of names takes about as much memory as its
// file, never a string object and a heap block per name. Reads like a vector of strings.
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iosfwd>
#include <iterator>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace host {

class NameList {
public:
    class Iterator {
    public:
        using iterator_category = std::random_access_iterator_tag;
        using value_type = std::string;
        using difference_type = std::ptrdiff_t;
        using pointer = void;
        using reference = std::string;

        Iterator() = default;
        Iterator(const NameList* list, std::size_t index) : mList(list), mIndex(index) {}
        std::string operator*() const { return (*mList)[mIndex]; }
        std::string operator[](difference_type offset) const {
            return (*mList)[mIndex + static_cast<std::size_t>(offset)];
        }
        Iterator& operator++() {
            ++mIndex;
            return *this;
        }
        Iterator operator++(int) {
            Iterator before = *this;
            ++mIndex;
            return before;
        }
        Iterator& operator--() {
            --mIndex;
            return *this;
        }
        Iterator operator--(int) {
            Iterator before = *this;
            --mIndex;
            return before;
        }
        Iterator& operator+=(difference_type offset) {
            mIndex = static_cast<std::size_t>(static_cast<difference_type>(mIndex) + offset);
            return *this;
        }
        Iterator& operator-=(difference_type offset) { return *this += -offset; }
        friend Iterator operator+(Iterator at, difference_type offset) { return at += offset; }
        friend Iterator operator+(difference_type offset, Iterator at) { return at += offset; }
        friend Iterator operator-(Iterator at, difference_type offset) { return at -= offset; }
        friend difference_type operator-(const Iterator& a, const Iterator& b) {
            return static_cast<difference_type>(a.mIndex) - static_cast<difference_type>(b.mIndex);
        }
        friend bool operator==(const Iterator& a, const Iterator& b) {
            return a.mIndex == b.mIndex;
        }
        friend auto operator<=>(const Iterator& a, const Iterator& b) {
            return a.mIndex <=> b.mIndex;
        }
        std::size_t Index() const { return mIndex; }

    private:
        const NameList* mList = nullptr;
        std::size_t mIndex = 0;
    };

    NameList() = default;
    NameList(std::initializer_list<std::string> names);
    NameList(const std::vector<std::string>& names); // NOLINT: reads as the vector it replaces

    std::size_t size() const { return mEnds.size(); }
    bool empty() const { return mEnds.empty(); }
    std::string_view View(std::size_t index) const;
    std::string operator[](std::size_t index) const { return std::string(View(index)); }
    std::string front() const { return (*this)[0]; }
    std::string back() const { return (*this)[size() - 1]; }
    Iterator begin() const { return {this, 0}; }
    Iterator end() const { return {this, size()}; }

    void push_back(std::string_view name);
    // Gives the name at index another text.
    void Set(std::size_t index, std::string_view name);
    // Takes the name at the iterator out; the iterator to the name after it.
    Iterator erase(Iterator at);
    void clear();
    void reserve(std::size_t names, std::size_t bytes);
    std::vector<std::string> ToVector() const;

    bool operator==(const NameList& other) const {
        return mEnds == other.mEnds && mBytes == other.mBytes;
    }
    friend bool operator==(const NameList& list, const std::vector<std::string>& names);

private:
    std::size_t StartOf(std::size_t index) const { return index == 0 ? 0 : mEnds[index - 1]; }

    std::string mBytes;
    std::vector<std::uint32_t> mEnds; // where each name ends in mBytes
};

void to_json(nlohmann::json& json, const NameList& names);
// For test failures: the names as a list.
void PrintTo(const NameList& names, std::ostream* out);

} // namespace host
