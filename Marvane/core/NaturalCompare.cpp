// Case-insensitive natural comparison of names.
//
// Each string is read as a sequence of items: a maximal run of ASCII digits, or one
// character after simple case folding (a surrogate pair as its code point, a lone surrogate
// as its code unit). The sequences are compared item by item: a digit run with a digit run
// by value, a digit run with a character as if it were its first digit (no character folds
// to an ASCII digit, so that is never a tie). When the sequences are equal, the first pair of
// runs that differ in leading zeros decides.
//
// Sorting calls this millions of times, mostly for names that share a beginning and differ
// in one letter or one digit, so the entry point skips the identical code units and settles
// those cases on the spot; everything else goes to the item-by-item loop.
#include "host/TextCompare.h"

#include <QChar>

#include <array>
#include <cstddef>

namespace host {

namespace {

constexpr bool IsAsciiDigit(char16_t unit) {
    return static_cast<unsigned>(unit) - u'0' < 10U;
}

// ASCII after case folding: capital letters become small ones. A table, so that folding
// costs no branch.
constexpr std::array<char16_t, 0x80> kAsciiFolded = [] {
    std::array<char16_t, 0x80> table{};
    for (std::size_t unit = 0; unit < table.size(); ++unit) {
        table[unit] =
            static_cast<char16_t>(unit >= u'A' && unit <= u'Z' ? unit + (u'a' - u'A') : unit);
    }
    return table;
}();

constexpr bool IsHighSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

constexpr bool IsLowSurrogate(char16_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

constexpr bool IsSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit <= 0xDFFF;
}

constexpr int Sign(bool less) {
    return less ? -1 : 1;
}

// Reads the character at `at`, advances past it and returns it case folded.
char32_t TakeFolded(const char16_t* text, std::size_t size, std::size_t& at) noexcept {
    const char16_t unit = text[at++];
    if (unit < 0x80) {
        return kAsciiFolded[unit];
    }
    if (!IsSurrogate(unit)) {
        return QChar::toCaseFolded(char32_t{unit});
    }
    if (IsHighSurrogate(unit) && at < size && IsLowSurrogate(text[at])) {
        const char32_t codePoint =
            0x10000 + ((char32_t{unit} - 0xD800) << 10) + (char32_t{text[at]} - 0xDC00);
        ++at;
        return QChar::toCaseFolded(codePoint);
    }
    return unit;
}

std::size_t DigitsEnd(const char16_t* text, std::size_t size, std::size_t at) noexcept {
    while (at < size && IsAsciiDigit(text[at])) {
        ++at;
    }
    return at;
}

// Compares item by item from `start`, where the strings first differ. Kept out of line so
// that the quick cases of the entry point stay small.
[[gnu::noinline]] int CompareItems(const char16_t* a, std::size_t sizeA, const char16_t* b,
                                   std::size_t sizeB, std::size_t start) noexcept {
    // The identical beginning may end inside a digit run or a surrogate pair: back up to
    // where that item starts, which is the same place in both strings.
    if (start > 0 && IsHighSurrogate(a[start - 1])) {
        --start;
    }
    while (start > 0 && IsAsciiDigit(a[start - 1])) {
        --start;
    }
    std::size_t i = start;
    std::size_t j = start;
    int leadingZeros = 0;
    for (;;) {
        if (i == sizeA) {
            return j == sizeB ? leadingZeros : -1;
        }
        if (j == sizeB) {
            return 1;
        }
        const char16_t unitA = a[i];
        const char16_t unitB = b[j];
        if ((unitA | unitB) >= 0x80) {
            // Not ASCII on one side at least, so not two digits.
            const char32_t foldedA = TakeFolded(a, sizeA, i);
            const char32_t foldedB = TakeFolded(b, sizeB, j);
            if (foldedA != foldedB) {
                return Sign(foldedA < foldedB);
            }
            continue;
        }
        const char16_t foldedA = kAsciiFolded[unitA];
        const char16_t foldedB = kAsciiFolded[unitB];
        if (foldedA == foldedB && !IsAsciiDigit(unitA)) {
            ++i;
            ++j;
            continue;
        }
        if (!IsAsciiDigit(unitA) || !IsAsciiDigit(unitB)) {
            return Sign(foldedA < foldedB);
        }
        // Two digit runs: the number of significant digits, then the digits, then (only if
        // nothing else differs) the leading zeros.
        const std::size_t startA = i;
        const std::size_t startB = j;
        while (i < sizeA && a[i] == u'0') {
            ++i;
        }
        while (j < sizeB && b[j] == u'0') {
            ++j;
        }
        const std::size_t endA = DigitsEnd(a, sizeA, i);
        const std::size_t endB = DigitsEnd(b, sizeB, j);
        if (endA - i != endB - j) {
            return Sign(endA - i < endB - j);
        }
        for (; i < endA; ++i, ++j) {
            if (a[i] != b[j]) {
                return Sign(a[i] < b[j]);
            }
        }
        if (leadingZeros == 0 && i - startA != j - startB) {
            leadingZeros = Sign(i - startA < j - startB);
        }
    }
}

} // namespace

int CompareNaturalNoCase(std::u16string_view a, std::u16string_view b) noexcept {
    const char16_t* const dataA = a.data();
    const char16_t* const dataB = b.data();
    const std::size_t sizeA = a.size();
    const std::size_t sizeB = b.size();
    const std::size_t common = sizeA < sizeB ? sizeA : sizeB;
    std::size_t k = 0;
    while (k < common && dataA[k] == dataB[k]) {
        ++k;
    }
    if (k == common) {
        // One string is the other followed by more. That is later in every case: a digit
        // run made longer is a larger number or (zeros only) has more leading zeros, and a
        // high surrogate completed to a pair becomes a code point above every code unit.
        return sizeA == sizeB ? 0 : Sign(sizeA < sizeB);
    }
    const char16_t unitA = dataA[k];
    const char16_t unitB = dataB[k];
    if ((unitA | unitB) < 0x80) {
        const bool digitA = IsAsciiDigit(unitA);
        const bool digitB = IsAsciiDigit(unitB);
        if (!digitA && !digitB) {
            // Any digit run before k ends at k in both strings and is the same in both.
            const char16_t foldedA = kAsciiFolded[unitA];
            const char16_t foldedB = kAsciiFolded[unitB];
            if (foldedA != foldedB) {
                return Sign(foldedA < foldedB);
            }
        } else if (digitA && digitB) {
            // Two different digits in runs that began alike. Once a significant digit is
            // among them, the rest of the runs decides by length, then by this digit.
            bool significant = unitA != u'0' && unitB != u'0';
            for (std::size_t back = k; !significant && back > 0 && IsAsciiDigit(dataA[back - 1]);
                 --back) {
                significant = dataA[back - 1] != u'0';
            }
            if (significant) {
                const std::size_t restA = DigitsEnd(dataA, sizeA, k + 1) - k;
                const std::size_t restB = DigitsEnd(dataB, sizeB, k + 1) - k;
                return restA != restB ? Sign(restA < restB) : Sign(unitA < unitB);
            }
        }
    }
    return CompareItems(dataA, sizeA, dataB, sizeB, k);
}

} // namespace host
