#include "Request.h"

#include <charconv>

#include "AggregationStatistic.h"
#include "UserError.h"

namespace kvtables {

std::string Literal::Describe() const
{
    if (isString) return Quote(text);
    char buf[32];
    auto res = std::to_chars(buf, buf + sizeof buf, number);
    return std::string(buf, res.ptr);
}

const CategoryOptions& TableRequest::CategoriesOf(const std::string& name) const
{
    static const CategoryOptions defaults;
    for (const auto& [key, options] : categories)
        if (key == name) return options;
    return defaults;
}

std::vector<const AxisEntry*> TableRequest::AllEntries() const
{
    std::vector<const AxisEntry*> all;
    for (const auto* axis : {&rows, &columns, &layers})
        for (const auto& e : *axis) all.push_back(&e);
    return all;
}

int Request::FindSet(const std::string& name) const
{
    for (size_t i = 0; i < sets.size(); ++i)
        if (sets[i].name == name) return static_cast<int>(i);
    return -1;
}

namespace stats {

namespace {
bool StartsWith(const std::string& s, const char* prefix) { return s.rfind(prefix, 0) == 0; }
bool Contains(const std::string& s, const char* part) { return s.find(part) != std::string::npos; }
constexpr int kFirstRangeCode = TableEncryptionCodes::kPctLT;
constexpr int kLastRangeCode = TableEncryptionCodes::kUCountGTLT;
}  // namespace

bool IsKnown(int code)
{
    using namespace TableEncryptionCodes;
    if (code <= kNoStatistic || code > kLastRangeCode) return false;
    StatisticCodes primary;
    StatisticConf conf;
    if (AggregationStatistic::GetStatPrimeAndConf(static_cast<StatisticCodes>(code), primary, conf)) return true;
    // Singles that live outside the confidence-group table but are computed.
    return code == kGroupedMedian || code == kUGroupedMedian || code >= kSumSqDeviation;
}

bool NeedsSummary(int code)
{
    using namespace TableEncryptionCodes;
    return (code >= kValidNPct0 && code < kResponses) || code >= kSumSqDeviation;
}

bool IsResponses(int code)
{
    return Contains(AggregationStatistic::GetStatisticName(code), "Responses");
}

bool TakesCut(int code)
{
    using namespace TableEncryptionCodes;
    return (code >= kPtile && code < kPtile + 8) || code == kGroupedPtile || code == kUGroupedPtile;
}

bool TakesLevel(int code)
{
    return code == TableEncryptionCodes::kMedianCI || code == TableEncryptionCodes::kUMedianCI;
}

// The range family is 478 + 4g + m; comparisons 0, 1 (LT, LE) use the upper
// limit, 2 to 4 (GT, GE, EQ) the lower one, 5 to 8 both.
bool TakesLower(int code)
{
    if (code < kFirstRangeCode || code > kLastRangeCode) return false;
    return (code - kFirstRangeCode) / 4 >= 2;
}

bool TakesUpper(int code)
{
    if (code < kFirstRangeCode || code > kLastRangeCode) return false;
    int g = (code - kFirstRangeCode) / 4;
    return g <= 1 || g >= 5;
}

bool IsPercentage(int code)
{
    return Contains(AggregationStatistic::GetStatisticName(code), "Pct");
}

bool IsCount(int code)
{
    if (IsPercentage(code)) return false;
    const std::string name = AggregationStatistic::GetStatisticName(code);
    for (const char* p : {"Count", "UCount", "ECount", "Responses", "UResponses", "ValidN", "UValidN", "EValidN",
                          "TotalN", "UTotalN", "ETotalN", "MissingCount", "UMissingCount"})
        if (StartsWith(name, p)) return true;
    return false;
}

bool IsUnweighted(int code)
{
    const std::string name = AggregationStatistic::GetStatisticName(code);
    return StartsWith(name, "U");
}

}  // namespace stats

}  // namespace kvtables
