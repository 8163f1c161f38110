// A multiple-dichotomy set: each member is one category, counted when its
// value equals the set's counted value.
#ifndef KVAGGR_AGGREGATIONMDSET_H
#define KVAGGR_AGGREGATIONMDSET_H

#include "AggregationMRSet.h"
#include "OBS.h"

struct AggregationMDSetRecord;

class AggregationMDSet : public AggregationMRSet {
public:
    // The host keeps `counted` alive for the set's lifetime; `countedSize` is
    // 0 for a number, the string's width otherwise.
    AggregationMDSet(const std::vector<int>& indices, const std::string& name, const OBS* counted,
                     int countedSize, bool useLabelFromValue);
    ~AggregationMDSet() override;

    virtual const OBS* GetCountedOBS() const;
    virtual int GetCountedOBSSize() const;
    // Label the categories with the members' value label of the counted value
    // rather than with the members' own labels.
    bool UseLabelFromValue() const;

private:
    AggregationMDSetRecord* _record;  // owned
};

#endif
