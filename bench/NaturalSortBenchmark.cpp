// Sorting project names for the Production panel: the natural, case-insensitive comparison
// against plain code-unit order of the same strings. Both sort fresh copies of one list of
// 100,000 names made from a fixed seed; copying is kept out of the timing.
#include "host/TextCompare.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kNameCount = 100'000;

class NameMaker {
public:
    std::u16string Make() {
        std::u16string name;
        switch (Below(8)) {
        case 0:
            name = u"Scene " + Number(1, 150) + u" v" + Number(1, 12);
            break;
        case 1:
            name = u"Shot " + Padded(Number(0, 999), 3) + Pick(kShotSuffixes);
            break;
        case 2:
            name = u"Interview - " + Pick(kPeople) + u" " + Number(1, 9);
            break;
        case 3:
            name = u"\u00C9tude " + Number(1, 40);
            break;
        case 4:
            name = u"Reel " + Number(1, 60) + (Below(2) == 0 ? u" (alt)" : u"");
            break;
        case 5:
            name = Pick(kClients) + u" Promo " + Number(2019, 2025) + u" Cut " + Number(1, 20);
            break;
        case 6:
            name = u"B-Roll " + Pick(kPlaces) + u" " + Number(1, 300);
            break;
        default:
            name = u"Trailer v" + Number(1, 30) + u"." + Number(0, 9);
            break;
        }
        switch (Below(8)) {
        case 0:
            ChangeAsciiCase(name, u'a', u'z', u'A' - u'a');
            break;
        case 1:
            ChangeAsciiCase(name, u'A', u'Z', u'a' - u'A');
            break;
        default:
            break;
        }
        return name;
    }

private:
    static constexpr const char16_t* kShotSuffixes[] = {u"_final", u"_v2", u"_alt", u"", u"_v10"};
    static constexpr const char16_t* kPeople[] = {
        u"Ana",         u"Bruno",      u"Chlo\u00E9", u"Dmitri", u"\u0395\u03BB\u03AD\u03BD\u03B7",
        u"J\u00FCrgen", u"S\u00F8ren", u"Zo\u00EB"};
    static constexpr const char16_t* kClients[] = {u"Acme", u"Nordlicht", u"Blue Harbor",
                                                   u"Caf\u00E9 Lumi\u00E8re"};
    static constexpr const char16_t* kPlaces[] = {u"Harbor", u"Market", u"\u00D6resund",
                                                  u"Skyline"};

    std::size_t Below(std::size_t bound) { return static_cast<std::size_t>(mEngine() % bound); }

    template <std::size_t N> std::u16string Pick(const char16_t* const (&choices)[N]) {
        return choices[Below(N)];
    }

    std::u16string Number(std::size_t low, std::size_t high) {
        const std::string digits = std::to_string(low + Below(high - low + 1));
        return std::u16string(digits.begin(), digits.end());
    }

    static std::u16string Padded(std::u16string digits, std::size_t width) {
        if (digits.size() < width) {
            digits.insert(0, width - digits.size(), u'0');
        }
        return digits;
    }

    static void ChangeAsciiCase(std::u16string& text, char16_t first, char16_t last, int shift) {
        for (char16_t& unit : text) {
            if (unit >= first && unit <= last) {
                unit = static_cast<char16_t>(unit + shift);
            }
        }
    }

    std::mt19937 mEngine{20240611};
};

const std::vector<std::u16string>& Names() {
    static const std::vector<std::u16string> names = [] {
        NameMaker maker;
        std::vector<std::u16string> result;
        result.reserve(kNameCount);
        for (std::size_t i = 0; i < kNameCount; ++i) {
            result.push_back(maker.Make());
        }
        return result;
    }();
    return names;
}

// Function objects, so that std::sort can inline the plain comparison as it does by default.
struct PlainLess {
    bool operator()(const std::u16string& a, const std::u16string& b) const { return a < b; }
};

struct NaturalLess {
    bool operator()(const std::u16string& a, const std::u16string& b) const {
        return host::CompareNaturalNoCase(a, b) < 0;
    }
};

// Replaces `names` by a new copy of the list. Assigning over the sorted vector would reuse
// each string's buffer where it now stands, scattering the text in memory a little more on
// every round; a new copy lays it out the same way for every sort.
void FreshCopy(std::vector<std::u16string>& names) {
    names = {};
    names = Names();
}

template <typename Less> void SortNames(benchmark::State& state) {
    std::vector<std::u16string> names;
    for (auto _ : state) {
        state.PauseTiming();
        FreshCopy(names);
        state.ResumeTiming();
        std::sort(names.begin(), names.end(), Less{});
        benchmark::DoNotOptimize(names.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(kNameCount));
}

// Both sorts in every iteration, timed apart, so the ratio is taken under the same conditions.
void SortNamesNaturalOverPlain(benchmark::State& state) {
    using Clock = std::chrono::steady_clock;
    std::vector<std::u16string> names;
    double plainSeconds = 0;
    double naturalSeconds = 0;
    for (auto _ : state) {
        FreshCopy(names);
        const Clock::time_point plainStart = Clock::now();
        std::sort(names.begin(), names.end(), PlainLess{});
        benchmark::DoNotOptimize(names.data());
        const double plain = std::chrono::duration<double>(Clock::now() - plainStart).count();

        FreshCopy(names);
        const Clock::time_point naturalStart = Clock::now();
        std::sort(names.begin(), names.end(), NaturalLess{});
        benchmark::DoNotOptimize(names.data());
        const double natural = std::chrono::duration<double>(Clock::now() - naturalStart).count();

        plainSeconds += plain;
        naturalSeconds += natural;
        state.SetIterationTime(plain + natural);
    }
    const double iterations = static_cast<double>(state.iterations());
    state.counters["plain_ms"] = plainSeconds * 1000 / iterations;
    state.counters["natural_ms"] = naturalSeconds * 1000 / iterations;
    state.counters["ratio"] = naturalSeconds / plainSeconds;
}

BENCHMARK(SortNames<PlainLess>)->Name("SortNames/CodeUnitOrder")->Unit(benchmark::kMillisecond);
BENCHMARK(SortNames<NaturalLess>)->Name("SortNames/NaturalNoCase")->Unit(benchmark::kMillisecond);
BENCHMARK(SortNamesNaturalOverPlain)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
