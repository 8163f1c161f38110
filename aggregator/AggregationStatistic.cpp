#include "AggregationStatistic.h"

#include <unordered_map>

#include "StatisticCatalogue.h"

using TableEncryptionCodes::StatisticCodes;
using TableEncryptionCodes::StatisticConf;

struct AggregationStatistic::Record {
    int _varIndex = -1;
    StatisticCodes _summaryStatistic = TableEncryptionCodes::kNoStatistic;
    StatisticCodes _primaryStatistic = TableEncryptionCodes::kNoStatistic;
    StatisticConf _confSubType = TableEncryptionCodes::kConfNone;
    double _ptileCutPoint = 0.0;
    double _lowerLimit = 0.0;
    double _upperLimit = 0.0;
    double _ciMedianLevel = 0.0;
};

AggregationStatistic::AggregationStatistic(StatisticCodes code) : AggregationStatistic(-1, code) {}

AggregationStatistic::AggregationStatistic(int varIndex, StatisticCodes code) : _record(new Record)
{
    _record->_varIndex = varIndex;
    _record->_summaryStatistic = code;
    // An unknown code stays its own primary with kConfNone; later stages find
    // no accumulator for it and show system-missing.
    GetStatPrimeAndConf(code, _record->_primaryStatistic, _record->_confSubType);
}

AggregationStatistic::AggregationStatistic(AggregationStatistic const& other)
    : _record(new Record(*other._record))
{
}

AggregationStatistic& AggregationStatistic::operator=(AggregationStatistic const& other)
{
    if (this != &other) *_record = *other._record;
    return *this;
}

AggregationStatistic::~AggregationStatistic() { delete _record; }

void AggregationStatistic::SetVarIndex(int varIndex) { _record->_varIndex = varIndex; }
int AggregationStatistic::GetVarIndex() const { return _record->_varIndex; }
StatisticCodes AggregationStatistic::GetSummaryStatistic() const { return _record->_summaryStatistic; }
StatisticCodes AggregationStatistic::GetPrimaryStatistic() const { return _record->_primaryStatistic; }
StatisticConf AggregationStatistic::GetConfSubType() const { return _record->_confSubType; }
void AggregationStatistic::SetPTileCutPoint(double cutPoint) { _record->_ptileCutPoint = cutPoint; }
double AggregationStatistic::GetPTileCutPoint() const { return _record->_ptileCutPoint; }
void AggregationStatistic::SetLowerLimit(double limit) { _record->_lowerLimit = limit; }
double AggregationStatistic::GetLowerLimit() const { return _record->_lowerLimit; }
void AggregationStatistic::SetUpperLimit(double limit) { _record->_upperLimit = limit; }
double AggregationStatistic::GetUpperLimit() const { return _record->_upperLimit; }
void AggregationStatistic::SetCIMedian(double level) { _record->_ciMedianLevel = level; }
double AggregationStatistic::GetCIMedian() const { return _record->_ciMedianLevel; }

bool AggregationStatistic::GetStatPrimeAndConf(StatisticCodes code, StatisticCodes& primary,
                                               StatisticConf& conf)
{
    const StatisticCatalogue::Entry* e = StatisticCatalogue::Find(code);
    if (e != nullptr && e->inGroupTable) {
        primary = e->primary;
        conf = e->conf;
        return true;
    }
    primary = code;
    conf = TableEncryptionCodes::kConfNone;
    return false;
}

bool AggregationStatistic::IsSame(AggregationStatistic const& other, bool ignoreVarIndex) const
{
    Record const& a = *_record;
    Record const& b = *other._record;
    if (!ignoreVarIndex && a._varIndex != b._varIndex) return false;
    if (a._summaryStatistic != b._summaryStatistic) return false;
    switch (a._primaryStatistic) {
    case TableEncryptionCodes::kPtile:
    case TableEncryptionCodes::kUPtile:
    case TableEncryptionCodes::kGroupedPtile:
    case TableEncryptionCodes::kUGroupedPtile:
        return a._ptileCutPoint == b._ptileCutPoint;
    default:
        break;
    }
    if (a._summaryStatistic == TableEncryptionCodes::kMedianCI ||
        a._summaryStatistic == TableEncryptionCodes::kUMedianCI)
        return a._ciMedianLevel == b._ciMedianLevel;
    // Range limits are deliberately not compared: two range requests with the
    // same code are the same request whatever their limits.
    return true;
}

std::string AggregationStatistic::GetStatisticName(int code)
{
    const StatisticCatalogue::Entry* e = StatisticCatalogue::Find(code);
    return e ? e->name : std::string();
}

int AggregationStatistic::GetStatisticCode(std::string const& name)
{
    static const std::unordered_map<std::string, int> byName = [] {
        std::unordered_map<std::string, int> m;
        for (int c = TableEncryptionCodes::kFirstStatisticCode; c <= TableEncryptionCodes::kLastStatisticCode; ++c)
            m.emplace(StatisticCatalogue::Find(c)->name, c);
        return m;
    }();
    std::string key = name;
    if (key.size() > 1 && key[0] == 'k' && key[1] >= 'A' && key[1] <= 'Z') key.erase(0, 1);
    auto it = byName.find(key);
    return it == byName.end() ? -1 : it->second;
}
