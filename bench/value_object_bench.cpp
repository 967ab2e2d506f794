// The string form of ints and doubles, beside std::to_chars into a buffer plus
// the std::string made from it, under the classic global locale (the same
// text either way). And copying and moving a 16-element list value, beside
// copying and moving a std::vector<std::string> of the same 16 short texts.
#include "allocation_counter.h"

#include <system_access/value_object.h>

#include <benchmark/benchmark.h>

#include <charconv>
#include <locale>
#include <string>
#include <utility>
#include <vector>

namespace {

using velmora::system::access::ValueObject;

constexpr int kSampleInt = -1234567;
constexpr double kSampleDouble = 3.14159265;  // "3.14159", six significant digits

std::vector<std::string> shortTexts() {
    std::vector<std::string> texts;
    for (int index = 0; index < 16; ++index) {
        texts.push_back("item" + std::to_string(index));
    }
    return texts;
}

ValueObject listOf(const std::vector<std::string>& texts) {
    ValueObject list;
    list.m_type = ValueObject::VALUE_TYPE_VECTOR;
    list.m_vector.reserve(texts.size());
    for (const std::string& text : texts) {
        list.m_vector.push_back(ValueObject(text));
    }
    return list;
}

template <typename Number>
void stringForm(benchmark::State& state, Number number) {
    std::locale::global(std::locale::classic());
    const ValueObject value(number);
    for (auto _ : state) {
        std::string text = value.convertToStringType();
        benchmark::DoNotOptimize(text.data());
    }
}

template <typename Number, typename... Format>
void toChars(benchmark::State& state, Number number, Format... format) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(number);
        char buffer[32];
        const std::to_chars_result result = std::to_chars(buffer, buffer + sizeof(buffer), number, format...);
        std::string text(buffer, result.ptr);
        benchmark::DoNotOptimize(text.data());
    }
}

template <typename List>
void copyList(benchmark::State& state, const List& list) {
    benchsupport::AllocationCount allocations;
    for (auto _ : state) {
        List copy(list);
        benchmark::DoNotOptimize(&copy);
    }
    allocations.report(state);
}

// Moves back and forth, so every iteration moves a full list.
template <typename List>
void moveList(benchmark::State& state, List list) {
    for (auto _ : state) {
        List moved(std::move(list));
        benchmark::DoNotOptimize(&moved);
        list = std::move(moved);
    }
}

[[maybe_unused]] const bool registered = [] {
    benchmark::RegisterBenchmark("ValueObject/int_string_form", stringForm<int>, kSampleInt);
    benchmark::RegisterBenchmark("ValueObject/int_to_chars", toChars<int>, kSampleInt);
    benchmark::RegisterBenchmark("ValueObject/double_string_form", stringForm<double>, kSampleDouble);
    benchmark::RegisterBenchmark("ValueObject/double_to_chars", toChars<double, std::chars_format, int>, kSampleDouble,
                                 std::chars_format::general, 6);
    const std::vector<std::string> texts = shortTexts();
    benchmark::RegisterBenchmark("ValueObject/list16_copy", copyList<ValueObject>, listOf(texts));
    benchmark::RegisterBenchmark("ValueObject/string_vector16_copy", copyList<std::vector<std::string>>, texts);
    benchmark::RegisterBenchmark("ValueObject/list16_move", moveList<ValueObject>, listOf(texts));
    benchmark::RegisterBenchmark("ValueObject/string_vector16_move", moveList<std::vector<std::string>>, texts);
    return true;
}();

}  // namespace
