// A multiple-response set: a variable description plus its member variables.
// Every set reports the index -100, which marks a description as a set.
#ifndef KVAGGR_AGGREGATIONMRSET_H
#define KVAGGR_AGGREGATIONMRSET_H

#include <string>
#include <vector>

#include "AggregationVariable.h"

class AggregationMRSet : public AggregationVariable {
public:
    static constexpr int kSetIndex = -100;

    AggregationMRSet(const std::vector<int>& indices, const std::string& name);
    ~AggregationMRSet() override;
    // Sets are created once and passed by pointer.
    AggregationMRSet(const AggregationMRSet&) = delete;
    AggregationMRSet& operator=(const AggregationMRSet&) = delete;

    virtual const std::vector<int>* GetIndexList() const;
    virtual int GetIndexListCount() const;

private:
    std::vector<int>* _indexList;  // owned
};

#endif
