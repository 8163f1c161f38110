// Accumulation of cells from hand-made cases and the read-out of each request.
#include <gtest/gtest.h>

#include <string>

#include "StatsTestData.h"
#include "kvaggr.h"

using namespace TableEncryptionCodes;
using kvtest::StatsData;

namespace {

constexpr double S = -1.7976931348623157e+308;  // system-missing
constexpr double M = kvtest::kMissingValue;     // a missing case value

// x = 2, 4, 4, 5, 7, 9 with weights 1, 2, 1, 3, 1, 2 (W = 10), as the first cases of the data file.
const std::vector<double> kX = {2, 4, 4, 5, 7, 9};
const std::vector<double> kW = {1, 2, 1, 3, 1, 2};

// Requests on variable 0 by statistic name, "name@p" giving p as the cut point and the median-interval level;
// range requests count 2 <= x <= 4 or its like.
std::unique_ptr<CellStatistics> ScaleLayout(const std::vector<std::string>& names, bool effective)
{
    std::vector<AggregationStatistic> stats;
    for (const std::string& name : names) {
        const std::size_t at = name.find('@');
        const int code = AggregationStatistic::GetStatisticCode(name.substr(0, at));
        EXPECT_GE(code, 0) << name;
        stats.emplace_back(0, static_cast<StatisticCodes>(code));
        const double param = at == std::string::npos ? 0.0 : std::stod(name.substr(at + 1));
        stats.back().SetPTileCutPoint(param);
        stats.back().SetCIMedian(param);
        stats.back().SetLowerLimit(2);
        stats.back().SetUpperLimit(4);
    }
    auto layout = std::make_unique<CellStatistics>(stats);
    layout->SetEffectiveBase(effective);
    layout->SetScaleStatistics(std::vector<int>(stats.size(), 0));
    return layout;
}

const std::vector<std::string> kMoments = {"Mean", "MeanLCL", "MeanUCL", "MeanSE", "Variance", "StdDev", "Sum",
                                           "SumLCL", "SumUCL"};

}  // namespace

// Every case of tests/data/stats/cell_values.tsv: a case line, then one line per request.
TEST(CellValues, ScaleRequestsOverTheCasesOfTheDataFile)
{
    const auto rows = kvtest::ReadTable("cell_values.tsv");
    std::size_t checked = 0;
    for (std::size_t r = 0; r < rows.size();) {
        const std::vector<std::string>& c = rows[r];
        ASSERT_TRUE(c.size() == 7 && c[0] == "case") << "row " << r;
        std::vector<std::vector<std::string>> requests;
        for (++r; r < rows.size() && rows[r][0] != "case"; ++r) requests.push_back(rows[r]);
        SCOPED_TRACE(c[1] + " [" + c[6] + "]");
        std::vector<std::string> names;
        for (const auto& q : requests) names.push_back(q[0]);
        StatsData data({kvtest::Numbers(c[2])}, kvtest::Numbers(c[3]));
        auto layout = ScaleLayout(names, c[4] == "1");
        auto cell = kvtest::FeedScaleCell(*layout, data, c[4] == "1");
        cell->SetConfLevel(std::stod(c[5]));
        for (std::size_t i = 0; i < requests.size(); ++i, ++checked) {
            const double got = cell->GetStatisticValue(static_cast<int>(i), false, false).GetValue1();
            EXPECT_TRUE(kvtest::Within(got, kvtest::Numbers(requests[i][1])[0], requests[i][2])) << names[i];
        }
    }
    EXPECT_GT(checked, 100u);
}

// What a value-1 read does not show: the alternative reads, the second values and the raw slots.
TEST(CellValues, AlternativeReadsAndRawSlots)
{
    StatsData data({kX}, kW);
    auto layout = ScaleLayout(kMoments, true);
    auto cell = kvtest::FeedScaleCell(*layout, data, true);
    EXPECT_NEAR(cell->GetStatisticValue(8, true, false).GetValue1(), 54.0, 1e-12);  // a confidence member's own value
    EXPECT_EQ(cell->GetValues()[CellValues::kECountPos], 20.0);

    StatsData tie({{1.0, 2.0}}, {1.0, 1.0});
    auto modes = ScaleLayout({"Mode"}, false);
    auto tied = kvtest::FeedScaleCell(*modes, tie, false);
    EXPECT_EQ(tied->GetStatisticValue(0, false, false).GetValue1(), 1.0);
    EXPECT_EQ(tied->GetStatisticValue(0, true, false).GetValue1(), 2.0);

    StatsData big({{1.0, 2.0}}, {1e308, 1e308});
    auto poisoned = ScaleLayout({"Variance"}, false);
    EXPECT_EQ(kvtest::FeedScaleCell(*poisoned, big, false)->GetValues()[poisoned->GetValueIndex()[0] + 2], -1.0);

    // The moments state keeps the 2^-52 that the plain mean snaps to zero.
    StatsData noise({{1.0, -0.9999999999999996}}, {1.0, 1.0});
    auto moments = ScaleLayout({"Variance"}, false);
    EXPECT_EQ(kvtest::FeedScaleCell(*moments, noise, false)->GetValues()[moments->GetValueIndex()[0] + 1],
              2.220446049250313e-16);

    StatsData ten({kvtest::OneToTen()}, kvtest::AlternatingWeights());
    auto median = ScaleLayout({"MedianCI@95"}, false);
    EXPECT_EQ(kvtest::FeedScaleCell(*median, ten, false)->GetStatisticValue(0, false, false).GetValue2(), 8.0);
    EXPECT_FALSE(GetMedianCIOpt());
}

// Every accumulator kind over kX (and a missing value), the cases cut at every point into two cells that
// are merged: the cell of one pass, counts, extremes, percentiles and modes exactly, moments within
// rounding. A cell read back from its bytes is the same cell; short bytes or another layout's are refused.
TEST(CellValues, TwoPartsMergedEqualOnePass)
{
    const std::vector<std::string> names = {"Count", "UCount", "ValidN", "UValidN", "Maximum", "Minimum", "Range",
                                            "Mean", "UMean", "MeanSE", "UMeanSE", "Variance", "UVariance", "Sum",
                                            "Median", "UMedian", "Ptile@25", "Mode", "CountLT", "UCountLT"};
    std::vector<double> x = kX, w = kW;
    x.insert(x.begin() + 2, M);
    w.insert(w.begin() + 2, 2.5);
    auto read = [&](const CellValues& cell) {
        std::vector<double> out;
        for (size_t i = 0; i < names.size(); ++i)
            out.push_back(cell.GetStatisticValue(static_cast<int>(i), false, false).GetValue1());
        return out;
    };
    for (bool effective : {false, true}) {
        auto layout = ScaleLayout(names, effective);
        StatsData all({x}, w);
        const std::vector<double> want = read(*kvtest::FeedScaleCell(*layout, all, effective));
        for (size_t cut = 1; cut < x.size(); ++cut) {
            SCOPED_TRACE(testing::Message() << "cut " << cut << (effective ? ", effective" : ""));
            StatsData first({{x.begin(), x.begin() + cut}}, {w.begin(), w.begin() + cut});
            StatsData second({{x.begin() + cut, x.end()}}, {w.begin() + cut, w.end()});
            auto merged = kvtest::FeedScaleCell(*layout, first, effective);
            merged->Merge(*kvtest::FeedScaleCell(*layout, second, effective));
            const std::vector<double> got = read(*merged);
            for (size_t i = 0; i < names.size(); ++i) {
                const bool moment = i >= 7 && i <= 13;
                EXPECT_TRUE(moment ? bool(kvtest::RelNear(got[i], want[i], 1e-14)) : got[i] == want[i])
                    << names[i] << ": " << got[i] << " != " << want[i];
            }

            StateWriter out;
            merged->Write(out);
            CellValues back(*layout, effective);
            StateReader in(out.Bytes().data(), out.Bytes().size());
            ASSERT_TRUE(back.Read(in) && in.Left() == 0);
            EXPECT_EQ(read(back), got);
            CellValues shortRead(*layout, effective);
            StateReader cutShort(out.Bytes().data(), out.Bytes().size() - 1);
            EXPECT_FALSE(shortRead.Read(cutShort));
        }
        auto other = ScaleLayout({"Count"}, effective);
        CellValues foreign(*other, effective);
        StateWriter out;
        StatsData again({x}, w);
        kvtest::FeedScaleCell(*layout, again, effective)->Write(out);
        StateReader in(out.Bytes().data(), out.Bytes().size());
        EXPECT_FALSE(foreign.Read(in));
    }
}

// A sum of weights past the largest double poisons the squared deviations in a merge as in an update. A
// cell counted for total N alone adds to total N only, and takes the other side's moments when merged into.
TEST(CellValues, MergePoisonsOverflowAndKeepsEmptySides)
{
    auto layout = ScaleLayout({"Variance", "Maximum"}, false);
    StatsData big({{1.0}}, {1e308}), other({{2.0}}, {1e308});
    auto cell = kvtest::FeedScaleCell(*layout, big, false);
    cell->Merge(*kvtest::FeedScaleCell(*layout, other, false));
    EXPECT_EQ(cell->GetValues()[layout->GetValueIndex()[0] + 2], -1.0);
    EXPECT_EQ(cell->GetStatisticValue(1, false, false).GetValue1(), 2.0);

    CellStatistics categorical(kvtest::Requests({kCount, kTotalN, kMean, kMaximum}));
    categorical.SetCategoricalStatistics();
    StatsData data({{3, 5}}, {1, 1});
    auto full = kvtest::FeedCVarCell(categorical, data, false);
    CellValues empty(categorical, nullptr, false, true, 2.0, false);
    full->Merge(empty);
    const std::vector<double> want = {2, 4, 4, 5};
    for (int i = 0; i < 4; ++i) EXPECT_EQ(full->GetStatisticValue(i, false, false).GetValue1(), want[i]) << i;
    empty.Merge(*full);
    EXPECT_EQ(empty.GetStatisticValue(2, false, false).GetValue1(), 4.0);
}

TEST(CellValues, StandardErrorOfAWeightedMean)
{
    const AggregationResult se = CellValues::ComputeSEWMean(10.0, 46.4, 20.0);  // as the effective case above
    EXPECT_NEAR(se.GetValue1(), 1.0770329614269007, 1e-12);
    EXPECT_EQ(se.GetValue2(), 5.0);
    EXPECT_EQ(CellValues::ComputeSEWMean(10.4, 46.4, S).GetValue2(), 10.0);  // the rounded sum of weights
    EXPECT_EQ(CellValues::ComputeSEWMean(1.0, 0.0, S).GetValue1(), S);
    EXPECT_EQ(CellValues::ComputeSEWMean(5.0, -1.0, S).GetValue1(), S);
}

// Cases: 1 (w 2), missing (w 3), 3 (w 1), 4 (w 4), then one case counted for total N alone (w 5). By hand;
// without an effective base the effective counts are the counts.
TEST(CellValues, CategoricalCountsTotalAndValidN)
{
    const std::vector<int> codes = {kCount,  kUCount,  kTotalN,       kUTotalN,       kValidN, kUValidN,
                                    kMissingCount, kUMissingCount, kECount, kETotalN, kEValidN, kMean};
    for (bool effective : {true, false}) {
        StatsData data({{1, M, 3, 4}}, {2, 3, 1, 4});
        CellStatistics layout(kvtest::Requests(codes));
        layout.SetEffectiveBase(effective);
        layout.SetCategoricalStatistics();
        auto cell = kvtest::FeedCVarCell(layout, data, effective);
        cell->UpdateCVarValues(data.Readers()[0], false, true, 5.0);
        const std::vector<double> want = {10, 4, 15, 5, 7, 3, 8, 2, effective ? 100.0 / 30 : 10,
                                          effective ? 225.0 / 55 : 15, effective ? 49.0 / 21 : 7, 3};
        for (std::size_t i = 0; i < want.size(); ++i)
            EXPECT_DOUBLE_EQ(cell->GetStatisticValue(static_cast<int>(i), false, false).GetValue1(), want[i]) << i;
        EXPECT_DOUBLE_EQ(cell->GetStatisticValue(0, false, true).GetValue1(), effective ? 100.0 / 30 : 10);
        EXPECT_EQ(cell->GetValues()[CellValues::kECountPos], effective ? 30.0 : 0.0);
    }
}

TEST(CellValues, ResponsesAndTheCountBlock)
{
    CellStatistics layout(kvtest::Requests({kResponses, kUResponses, kCount, kUCount}));
    layout.SetCategoricalStatistics();
    CellValues cell(layout, 2.0, true, false, 2.0, false);
    cell.UpdateMRSetValues(1.0, true, false, 3.0);
    cell.UpdateMRSetValues(4.0, false, true, 9.0);  // total N only: no responses
    const double want[] = {7, 3, 5, 2};
    for (int i = 0; i < 4; ++i) EXPECT_EQ(cell.GetStatisticValue(i, false, false).GetValue1(), want[i]) << i;

    CellStatistics counts(kvtest::Requests({kCount}));
    counts.SetCategoricalStatistics();
    CellValues only(counts, static_cast<KvAggrCaseValueReader*>(nullptr), true, false, 1.5, true);
    only.UpdateCVarValues(nullptr, true, false, 2.0);
    EXPECT_EQ(only.NumOfValues(), 3);
    EXPECT_EQ(std::vector<double>(only.GetValues(), only.GetValues() + 3), (std::vector<double>{3.5, 2, 6.25}));
    only.SetCVarValues(nullptr, true, false, 4.0);  // a Set starts over
    EXPECT_EQ(std::vector<double>(only.GetValues(), only.GetValues() + 2), (std::vector<double>{4, 1}));
}
