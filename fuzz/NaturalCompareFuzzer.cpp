// Fuzzes host::CompareNaturalNoCase.
//
// Input: two bytes that say where to cut, then UTF-16 code units, little-endian (a trailing
// odd byte is ignored). The units are cut into three strings at the fractions given by the
// first two bytes. For every string and pair of strings the comparison must be a strict
// weak ordering (irreflexive, antisymmetric, transitive, with transitive equivalence), and
// must agree with a slow model written from the documented rules.
#include "host/TextCompare.h"

#include <QChar>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace {

int Sign(int value) {
    return (value > 0) - (value < 0);
}

void Check(bool condition) {
    if (!condition) {
        __builtin_trap();
    }
}

// One item of a name as the rules read it: a digit run or one case-folded character.
struct Item {
    bool isNumber = false;
    char32_t character = 0;       // when not a number
    std::u16string significant;   // when a number: its digits without leading zeros
    std::size_t leadingZeros = 0; // when a number
};

bool IsDigit(char16_t unit) {
    return unit >= u'0' && unit <= u'9';
}

std::vector<Item> Items(std::u16string_view text) {
    std::vector<Item> items;
    std::size_t i = 0;
    while (i < text.size()) {
        Item item;
        const char16_t unit = text[i];
        if (IsDigit(unit)) {
            item.isNumber = true;
            while (i < text.size() && text[i] == u'0') {
                ++item.leadingZeros;
                ++i;
            }
            while (i < text.size() && IsDigit(text[i])) {
                item.significant += text[i];
                ++i;
            }
        } else if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < text.size() &&
                   text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
            const char32_t codePoint =
                0x10000 + ((char32_t{unit} - 0xD800) << 10) + (char32_t{text[i + 1]} - 0xDC00);
            item.character = QChar::toCaseFolded(codePoint);
            i += 2;
        } else if (unit >= 0xD800 && unit <= 0xDFFF) {
            item.character = unit;
            ++i;
        } else {
            item.character = QChar::toCaseFolded(char32_t{unit});
            ++i;
        }
        items.push_back(item);
    }
    return items;
}

int CompareItem(const Item& a, const Item& b) {
    if (a.isNumber && b.isNumber) {
        if (a.significant.size() != b.significant.size()) {
            return a.significant.size() < b.significant.size() ? -1 : 1;
        }
        return Sign(a.significant.compare(b.significant));
    }
    if (a.isNumber) {
        // A number stands where the digits stand; no character folds to a digit.
        Check(b.character < U'0' || b.character > U'9');
        return b.character < U'0' ? 1 : -1;
    }
    if (b.isNumber) {
        return -CompareItem(b, a);
    }
    return a.character == b.character ? 0 : (a.character < b.character ? -1 : 1);
}

int ModelCompare(std::u16string_view a, std::u16string_view b) {
    const std::vector<Item> itemsA = Items(a);
    const std::vector<Item> itemsB = Items(b);
    int leadingZeros = 0;
    std::size_t k = 0;
    for (; k < itemsA.size() && k < itemsB.size(); ++k) {
        const int result = CompareItem(itemsA[k], itemsB[k]);
        if (result != 0) {
            return result;
        }
        if (leadingZeros == 0 && itemsA[k].isNumber &&
            itemsA[k].leadingZeros != itemsB[k].leadingZeros) {
            leadingZeros = itemsA[k].leadingZeros < itemsB[k].leadingZeros ? -1 : 1;
        }
    }
    if (k < itemsA.size()) {
        return 1;
    }
    if (k < itemsB.size()) {
        return -1;
    }
    return leadingZeros;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    std::u16string units;
    for (std::size_t at = 2; at + 1 < size; at += 2) {
        units += static_cast<char16_t>(data[at] | (data[at + 1] << 8));
    }
    const std::size_t firstCut = units.size() * data[0] / 256;
    const std::size_t secondCut = firstCut + (units.size() - firstCut) * data[1] / 256;
    const std::u16string_view all(units);
    const std::array<std::u16string_view, 3> strings = {
        all.substr(0, firstCut), all.substr(firstCut, secondCut - firstCut), all.substr(secondCut)};

    std::array<std::array<int, 3>, 3> signs{};
    for (std::size_t x = 0; x < 3; ++x) {
        for (std::size_t y = 0; y < 3; ++y) {
            signs[x][y] = Sign(host::CompareNaturalNoCase(strings[x], strings[y]));
            Check(signs[x][y] == ModelCompare(strings[x], strings[y]));
        }
        Check(signs[x][x] == 0);
        // The same text at another address compares the same.
        const std::u16string copy(strings[x]);
        Check(host::CompareNaturalNoCase(strings[x], copy) == 0);
    }
    for (std::size_t x = 0; x < 3; ++x) {
        for (std::size_t y = 0; y < 3; ++y) {
            Check(signs[x][y] == -signs[y][x]);
            for (std::size_t z = 0; z < 3; ++z) {
                // x <= y and y <= z give x <= z, strictly when either step is strict; this
                // covers transitivity of both "less" and "equivalent".
                if (signs[x][y] <= 0 && signs[y][z] <= 0) {
                    Check(signs[x][z] <= 0);
                    if (signs[x][y] < 0 || signs[y][z] < 0) {
                        Check(signs[x][z] < 0);
                    }
                }
            }
        }
    }
    return 0;
}
