// A multiple-category set: every member's values are categories of one
// dimension. One member's user-missing definitions decide for the whole set.
#ifndef KVAGGR_AGGREGATIONMCSET_H
#define KVAGGR_AGGREGATIONMCSET_H

#include "AggregationMRSet.h"

class AggregationMCSet : public AggregationMRSet {
public:
    AggregationMCSet(const std::vector<int>& indices, const std::string& name);
    ~AggregationMCSet() override;

    // The first member when none was chosen; that choice is then kept even
    // though the call is const. -1 for a set without members.
    virtual int GetUserMissingVariable() const;
    // -1 resets the choice; any other index must be a member.
    virtual void SetUserMissingVariable(int index);

private:
    int* _userMissingVariable;  // owned
};

#endif
