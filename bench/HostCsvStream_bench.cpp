// Streaming a CSV file: 1,000,000 rows of 15 columns (10 numeric with a few
// blanks, 5 short strings), all columns converted, or three of them.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <random>
#include <string>

#include "CsvLoader.h"

namespace {

const std::string& BenchFile()
{
    static const std::string path = [] {
        std::string p = (std::filesystem::temp_directory_path() / "kvhost_bench_1m_15.csv").string();
        if (std::filesystem::exists(p) && std::filesystem::file_size(p) > 0) return p;
        std::FILE* f = std::fopen(p.c_str(), "wb");
        std::mt19937 rng(42);
        std::fputs("id,a,b,c,d,e,f,g,h,w,s1,s2,s3,s4,s5\n", f);
        const char* cities[] = {"LDN", "MAN", "EDI", "CDF", "\"Leeds, W Yorks\""};
        char line[512];
        for (int i = 0; i < 1000000; ++i) {
            unsigned r = rng();
            int n = std::snprintf(line, sizeof line, "%d,%u,%u,%.2f,%u,%s,%u,%.3f,%u,%.4f,%s,%c,x%u,%s,abc\n", i,
                                  r % 5, (r >> 3) % 9, (r % 100000) / 7.0, (r >> 7) % 120, (r % 17 == 0) ? "" : "3",
                                  (r >> 11) % 2, (r % 1000) * 1.25, (r >> 13) % 40, 0.5 + (r % 1000) / 1000.0,
                                  cities[r % 5], static_cast<char>('A' + r % 3), r % 50, (r % 7 == 0) ? "" : "yes");
            std::fwrite(line, 1, static_cast<size_t>(n), f);
        }
        std::fclose(f);
        return p;
    }();
    return path;
}

void Stream(benchmark::State& state, const CsvColumns& columns, const DataDictionary& dict = DataDictionary())
{
    const std::string& path = BenchFile();
    long long rows = 0;
    for (auto _ : state) {
        CsvCaseIterator it(path, &dict, columns);
        double sum = 0.0;
        while (it.Next()) {
            sum += it.GetValue(1)->num;
            ++rows;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(rows);
    state.SetBytesProcessed(static_cast<int64_t>(std::filesystem::file_size(path)) * state.iterations());
}

// Every column inferred (one inference pass, then the stream).
void BM_StreamAllColumnsInferred(benchmark::State& state) { Stream(state, CsvColumns::All()); }
BENCHMARK(BM_StreamAllColumnsInferred)->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();

// Three columns; the others are split off but never converted.
void BM_StreamThreeColumnsInferred(benchmark::State& state) { Stream(state, CsvColumns::Indices({1, 9, 10})); }
BENCHMARK(BM_StreamThreeColumnsInferred)->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();

// The stream alone: every column described, so no inference pass.
void BM_StreamAllColumnsDescribed(benchmark::State& state)
{
    const std::string& path = BenchFile();
    std::string dictPath = path + ".dict.json";
    if (std::FILE* f = std::fopen(dictPath.c_str(), "wb")) {
        std::string text = "{\"variables\": [";
        const char* names[] = {"id", "a", "b", "c", "d", "e", "f", "g", "h", "w"};
        for (const char* n : names) text += std::string("{\"name\": \"") + n + "\", \"type\": \"numeric\"},";
        text += "{\"name\": \"s1\", \"type\": \"string\", \"width\": 16},"
                "{\"name\": \"s2\", \"type\": \"string\", \"width\": 1},"
                "{\"name\": \"s3\", \"type\": \"string\", \"width\": 4},"
                "{\"name\": \"s4\", \"type\": \"string\", \"width\": 3},"
                "{\"name\": \"s5\", \"type\": \"string\", \"width\": 3}]}";
        std::fputs(text.c_str(), f);
        std::fclose(f);
    }
    Stream(state, CsvColumns::All(), LoadDictionary(dictPath));
}
BENCHMARK(BM_StreamAllColumnsDescribed)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

}  // namespace
