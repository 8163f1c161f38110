#include "AggregationMDSet.h"

struct AggregationMDSetRecord {
    const OBS* _countedOBS;  // not owned
    int _countedOBSSize;
    bool _useLabelFromValue;
};

AggregationMDSet::AggregationMDSet(const std::vector<int>& indices, const std::string& name, const OBS* counted,
                                   int countedSize, bool useLabelFromValue)
    : AggregationMRSet(indices, name), _record(new AggregationMDSetRecord{counted, countedSize, useLabelFromValue})
{
}

AggregationMDSet::~AggregationMDSet() { delete _record; }

const OBS* AggregationMDSet::GetCountedOBS() const { return _record->_countedOBS; }
int AggregationMDSet::GetCountedOBSSize() const { return _record->_countedOBSSize; }
bool AggregationMDSet::UseLabelFromValue() const { return _record->_useLabelFromValue; }
