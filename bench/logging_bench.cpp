// Disabled diagnostics: a log statement whose level is off must cost its level
// check and nothing else; a traced operation with tracing off must cost one
// base-name lookup and two checks. Each is measured beside exactly those
// platform calls made bare.
#include "bench_platform.h"
#include "traced_operation.h"

#include <base/blog.h>

#include <benchmark/benchmark.h>

namespace {

using velmora::base::blog::BLOG_LEVEL_ERROR;
using velmora::base::blog::BLOG_LEVEL_TRACE;

// The platform's level check on a fresh copy of the level's record.
int bareCheck(const DebugLevelRecord& level) {
    DebugLevelRecord record = level;
    return cspDebugCheckLevelGetFrameAndChunk(&record);
}

// Out of line like the traced operation, so that both pay one call.
__attribute__((noinline)) void bareBaseNameAndTwoChecks() {
    benchmark::DoNotOptimize(blog_base_name(__FILE__));
    benchmark::DoNotOptimize(bareCheck(BLOG_LEVEL_TRACE));
    benchmark::DoNotOptimize(bareCheck(BLOG_LEVEL_TRACE));
}

void disabledErrorStatement(benchmark::State& state) {
    benchsupport::quietLogs();
    int value = 42;
    for (auto _ : state) {
        benchmark::DoNotOptimize(value);
        BLOG_ERROR("value %d", value);
    }
}

void bareLevelCheck(benchmark::State& state) {
    benchsupport::quietLogs();
    int value = 42;
    for (auto _ : state) {
        benchmark::DoNotOptimize(value);
        benchmark::DoNotOptimize(bareCheck(BLOG_LEVEL_ERROR));
    }
}

void tracedEmpty(benchmark::State& state) {
    benchsupport::quietLogs();
    for (auto _ : state) {
        benchsupport::tracedEmptyOperation();
    }
}

void bareTraceCalls(benchmark::State& state) {
    benchsupport::quietLogs();
    for (auto _ : state) {
        bareBaseNameAndTwoChecks();
    }
}

}  // namespace

BENCHMARK(disabledErrorStatement)->Name("Logging/disabled_error_statement");
BENCHMARK(bareLevelCheck)->Name("Logging/bare_level_check");
BENCHMARK(tracedEmpty)->Name("Logging/traced_empty_operation");
BENCHMARK(bareTraceCalls)->Name("Logging/bare_base_name_and_two_checks");
