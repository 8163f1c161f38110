// The workbook of a 200-table request: the demo's survey (examples/) cut 200
// ways (each row variable by a banner of a total and two column variables,
// every third table layered by wave), computed once, then written as xlsx
// per iteration. What is timed is RenderXlsx alone, the part of a
// `kvtables --format xlsx` run that the workbook adds.
#include <benchmark/benchmark.h>

#include <string>

#include "DataAccess.h"
#include "Renderers.h"
#include "RequestParser.h"
#include "RequestValidator.h"
#include "TableRunner.h"

namespace {

std::string Request(int tables)
{
    const char* rows[] = {"satisf", "region", "agegrp", "educ", "brands", "media"};
    const char* banners[] = {R"([{"total": "All"}, ["gender"], ["wave"]])", R"([{"total": "All"}, ["agegrp"], ["educ"]])"};
    std::string text = R"({"data": "survey.csv", "dictionary": "survey.dict.json", "weight": "wt", "sets": [
        {"name": "brands", "type": "categories", "variables": ["brand1", "brand2", "brand3"]},
        {"name": "media", "type": "dichotomies", "variables": ["tv", "radio", "web", "press"], "countedValue": 1}],
        "tables": [)";
    for (int t = 0; t < tables; ++t) {
        const std::string row = rows[t % 6], banner = banners[(t / 6) % 2];
        const bool clash = banner.find("\"" + row + "\"") != std::string::npos;
        text += (t ? ", " : "") + std::string(R"({"title": "Table )") + std::to_string(t + 1) + " of " + row +
                R"(", "rows": [")" + row + R"("], "columns": )" + (clash ? R"([["gender"]])" : banner) +
                R"(, "statistics": ["Count", "CountPct1"])" + (t % 3 == 2 && row != "satisf" ? R"(, "layers": ["satisf"])" : "") +
                "}";
    }
    return text + "]}";
}

void BM_Workbook200Tables(benchmark::State& state)
{
    kvtables::Request request = kvtables::ParseRequest(Request(200), "bench", KVAGGR_BENCH_EXAMPLES, true);
    kvtables::DataInput data = kvtables::OpenData(request);
    kvtables::ValidateRequest(request, data.cases->GetDataSource(),
                              [&data](int varIndex) { return data.cases->WhyText(varIndex); });
    data.cases->SetWeightIndex(request.weightIndex);
    const kvtables::ResultSet results = kvtables::RunTables(request, *data.cases);
    size_t bytes = 0, cells = 0;
    for (const auto& t : results.tables) cells += t.cells.size();
    for (auto _ : state) bytes = kvtables::RenderXlsx(results).size();
    state.counters["tables"] = static_cast<double>(results.tables.size());
    state.counters["cells"] = static_cast<double>(cells);
    state.counters["KiB"] = static_cast<double>(bytes) / 1024;
}
BENCHMARK(BM_Workbook200Tables)->Unit(benchmark::kMillisecond);

}  // namespace
