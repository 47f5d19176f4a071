#include "format/KZDateUtilities.h"
#include "format/KZNumberUtilities.h"

#include <benchmark/benchmark.h>

// Every menu row, table cell and log line goes through these.
static void BM_sizeToFormatString(benchmark::State &state)
{
    const KZNumberUtilities &numbers = KZNumberUtilities::sharedControl();
    quint64 bytes = 1;
    for (auto _ : state) {
        benchmark::DoNotOptimize(numbers.sizeToFormatString(bytes, 4, true));
        bytes = bytes * 7 + 13; // walk through every unit
    }
}
BENCHMARK(BM_sizeToFormatString);

static void BM_numberToFormatString(benchmark::State &state)
{
    const KZNumberUtilities &numbers = KZNumberUtilities::sharedControl();
    double n = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(numbers.numberToFormatString(n));
        n += 1;
    }
}
BENCHMARK(BM_numberToFormatString);

static void BM_stringWithSeconds(benchmark::State &state)
{
    KZDateUtilities &dates = KZDateUtilities::sharedControl();
    double seconds = 700'000'000;
    for (auto _ : state) {
        benchmark::DoNotOptimize(dates.stringWithSeconds(seconds, 3, true, false));
        seconds += 3607;
    }
}
BENCHMARK(BM_stringWithSeconds);
