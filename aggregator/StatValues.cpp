#include "StatValues.h"

#include <cmath>

#include "CubeStatistics.h"
#include "KvAssert.h"
#include "KvaDistFun.h"

namespace TEC = TableEncryptionCodes;

const double StatValues::_missing = CubeStatistics::sysmis;

namespace {

bool IsConfMember(int conf)
{
    return conf == TEC::kConfLower || conf == TEC::kConfUpper || conf == TEC::kConfStdError;
}

bool IsWeightedCountKind(int u) { return u == TEC::kCount || u == TEC::kTotalN || u == TEC::kValidN; }

bool IsUnweightedCountKind(int u) { return u == TEC::kUCount || u == TEC::kUTotalN || u == TEC::kUValidN; }

}  // namespace

StatValues::StatValues(CellStatistics* cellStats)
    : _cellLayout(nullptr),
      _cellStats(cellStats),
      _cellValues(nullptr),
      _totalValues(nullptr),
      _confLevel(95.0),
      _effective(false)
{
}

StatValues::~StatValues() = default;

void StatValues::SetStatValues(CellValues* cellValues)
{
    KV_ASSERT(cellValues);
    _cellValues = cellValues;
    _cellLayout = &cellValues->GetCellStats();
    _cellValues->SetConfLevel(_confLevel);
}

int StatValues::NumOfValues() const { return _cellValues ? _cellValues->NumOfValues() : 0; }

AggregationResult StatValues::GetStatValue(int i) const
{
    KV_ASSERT(_cellValues);
    const CellStatistics& layout = *_cellLayout;
    if (i < 0 || i >= layout.GetNumStatistics()) return AggregationResult();
    const int baseType = layout.GetBaseCellStats()[i];
    if (baseType >= 0) return GetPercentValue(i, baseType);

    const AggregationResult r = _cellValues->GetStatisticValue(i, false, false);
    const double x = r.GetValue1();
    if (x == _missing) return AggregationResult();

    const int p = layout.GetStatistic(i).GetPrimaryStatistic();
    if (p == TEC::kMode || p == TEC::kUMode) {
        AggregationResult result(x);
        const double upper = _cellValues->GetStatisticValue(i, true, false).GetValue1();
        if (upper != x) result.SetValue2(upper);
        return result;
    }

    const int u = layout.GetBaseUpdateStats()[i];
    if (IsWeightedCountKind(u) || IsUnweightedCountKind(u)) {
        const auto conf = static_cast<TEC::StatisticConf>(layout.GetConfTypes()[i]);
        if (!IsConfMember(conf)) return AggregationResult(x);
        AggregationResult result(x);
        if (_totalValues != nullptr) {
            const double t = _totalValues->GetStatisticValue(i, false, false).GetValue1();
            const double e = (_effective && IsWeightedCountKind(u))
                                 ? _totalValues->GetStatisticValue(i, false, true).GetValue1()
                                 : _missing;
            result.SetValue1(ComputeCountExtStat(conf, x, t, e, false));
        }
        // The count itself travels with its limit.
        result.SetValue2(x);
        return result;
    }
    return r;
}

AggregationResult StatValues::GetPercentValue(int i, int baseType) const
{
    const CellStatistics& layout = *_cellLayout;
    const bool haveBase = baseType < static_cast<int>(_baseValues.size()) && _baseValues[baseType] != nullptr;
    KV_ASSERT_TEXT(haveBase, "_baseValues[baseType]");
    const CellValues* base = _baseValues[baseType];
    const int baseIndex = layout.GetBaseIndex()[i];
    const double d = base->GetStatisticValue(baseIndex, true, false).GetValue1();
    const auto conf = static_cast<TEC::StatisticConf>(layout.GetConfTypes()[i]);

    if (IsConfMember(conf)) {
        // A cell that makes up its whole base (100 %) has no interval.
        const double whole = _cellValues->GetStatisticValue(i, true, false).GetValue1();
        if (whole == _missing || d == _missing || d <= whole) return AggregationResult();
    }
    const double x = _cellValues->GetStatisticValue(i, false, false).GetValue1();
    if (d == _missing || d == 0.0 || x == _missing) return AggregationResult();

    const int u = layout.GetBaseUpdateStats()[i];
    if (IsWeightedCountKind(u) || IsUnweightedCountKind(u)) {
        const double e = (IsWeightedCountKind(u) && _effective && IsConfMember(conf))
                             ? base->GetStatisticValue(baseIndex, true, true).GetValue1()
                             : _missing;
        return AggregationResult(ComputeCountExtStat(conf, x, d, e, true));
    }
    double pct = x / d * 100.0;
    if (conf == TEC::kConfLower && pct < 0.0) pct = 0.0;
    if (conf == TEC::kConfUpper && pct > 100.0) pct = 100.0;
    return AggregationResult(pct);
}

// Jeffreys interval of a binomial proportion, scaled to a percentage or to a
// count. Without an effective base x and n are rounded to whole cases.
double StatValues::ComputeCountExtStat(TableEncryptionCodes::StatisticConf conf, double x, double n, double nEff,
                                       bool percent) const
{
    if (!IsConfMember(conf)) {
        if (!percent) return x;
        if (n == _missing || !(n > 0.0)) return _missing;
        return 100.0 * x / n;
    }
    // A cell is no sample of itself: its own reference has no interval.
    const bool ownReference = _cellValues != nullptr && _cellValues == _totalValues;
    if (n == _missing || !(n > 0.0) || ownReference) return _missing;
    if (x == _missing) return _missing;

    const double alpha = (1.0 - _confLevel / 100.0) / 2.0;
    const double k = std::floor(x + 0.5);
    const double m = std::floor(n + 0.5);
    const double p = x / n;
    const bool haveEff = nEff != _missing;
    const double scale = percent ? 100.0 : (haveEff ? n : m);

    if (conf == TEC::kConfStdError) {
        const double size = haveEff ? nEff : m;
        const double var = p * (1.0 - p) / size;
        if (!(size > 0.0) || !(var >= 0.0)) return _missing;
        return scale * std::sqrt(var);
    }
    double a;
    double b;
    if (haveEff) {
        a = p * nEff + 0.5;
        b = (1.0 - p) * nEff + 0.5;
    } else {
        a = k + 0.5;
        b = m - k + 0.5;
    }
    const double q = KvaDistFun::IdfBet(conf == TEC::kConfLower ? alpha : 1.0 - alpha, a, b);
    if (q == KvaDistFun::_missing) return _missing;
    return scale * q;
}
