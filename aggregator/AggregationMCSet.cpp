#include "AggregationMCSet.h"

#include <algorithm>

#include "KvAssert.h"

AggregationMCSet::AggregationMCSet(const std::vector<int>& indices, const std::string& name)
    : AggregationMRSet(indices, name), _userMissingVariable(new int(-1))
{
}

AggregationMCSet::~AggregationMCSet() { delete _userMissingVariable; }

int AggregationMCSet::GetUserMissingVariable() const
{
    if (*_userMissingVariable != -1) return *_userMissingVariable;
    const std::vector<int>& members = *GetIndexList();
    if (!members.empty()) {
        *_userMissingVariable = members.front();
        return *_userMissingVariable;
    }
    return -1;
}

void AggregationMCSet::SetUserMissingVariable(int index)
{
    if (index != -1) {
        const std::vector<int>& members = *GetIndexList();
        bool found = std::find(members.begin(), members.end(), index) != members.end();
        KV_ASSERT(found && "Missing Value Variable must be present in the set.");
    }
    *_userMissingVariable = index;
}
