// One statistic request: the code, the variable it summarises and the numeric
// parameters some codes need (percentile cut point, range limits, the level of
// a median interval). The code is split once, at construction, into the first
// code of its confidence group and the wanted member.
#ifndef KVAGGR_AGGREGATIONSTATISTIC_H
#define KVAGGR_AGGREGATIONSTATISTIC_H

#include <string>

#include "TableEncryptionCodes.h"

class AggregationStatistic {
public:
    explicit AggregationStatistic(TableEncryptionCodes::StatisticCodes code);
    AggregationStatistic(int varIndex, TableEncryptionCodes::StatisticCodes code);
    AggregationStatistic(AggregationStatistic const& other);
    AggregationStatistic& operator=(AggregationStatistic const& other);
    ~AggregationStatistic();

    void SetVarIndex(int varIndex);
    int GetVarIndex() const;
    TableEncryptionCodes::StatisticCodes GetSummaryStatistic() const;
    TableEncryptionCodes::StatisticCodes GetPrimaryStatistic() const;
    TableEncryptionCodes::StatisticConf GetConfSubType() const;
    void SetPTileCutPoint(double cutPoint);
    double GetPTileCutPoint() const;
    void SetLowerLimit(double limit);
    double GetLowerLimit() const;
    void SetUpperLimit(double limit);
    double GetUpperLimit() const;
    void SetCIMedian(double level);
    double GetCIMedian() const;

    // Splits a code into its group's first code and the member wanted. False
    // for codes the group table does not know (0, its holes, codes above 475):
    // those answer themselves with kConfNone.
    static bool GetStatPrimeAndConf(TableEncryptionCodes::StatisticCodes code,
                                    TableEncryptionCodes::StatisticCodes& primary,
                                    TableEncryptionCodes::StatisticConf& conf);

    // Whether two requests ask for the same cell value.
    bool IsSame(AggregationStatistic const& other, bool ignoreVarIndex) const;

    // The code's name without the leading "k" ("CountPct1LCL"), or an empty
    // string for a number outside 0 ... 513.
    static std::string GetStatisticName(int code);
    // The code of a name, with or without the leading "k"; -1 when unknown.
    static int GetStatisticCode(std::string const& name);

private:
    struct Record;
    Record* _record;  // owned
};

#endif
