#include "AggregationMRSet.h"

AggregationMRSet::AggregationMRSet(const std::vector<int>& indices, const std::string& name)
    : AggregationVariable(kSetIndex, name), _indexList(new std::vector<int>(indices))
{
}

AggregationMRSet::~AggregationMRSet() { delete _indexList; }

const std::vector<int>* AggregationMRSet::GetIndexList() const { return _indexList; }

int AggregationMRSet::GetIndexListCount() const { return static_cast<int>(_indexList->size()); }
