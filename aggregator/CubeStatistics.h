// Holistic statistics over a cell's value-frequency map (percentiles, grouped
// percentiles, their confidence limits, the median interval, modes), the range
// test of the range family, and the numeric constants of the statistics code.
//
// A value-frequency map holds every distinct valid value of one summary
// variable in a cell with its summed weight (or its case count, for an
// unweighted map), in ascending order. Its memory grows with the number of
// distinct values, which is why only cells that need it keep one.
#ifndef KVAGGR_CUBESTATISTICS_H
#define KVAGGR_CUBESTATISTICS_H

#include <map>

#include "AggregationResult.h"
#include "AggregationStatistic.h"
#include "KvFreqTable.h"

class CubeStatistics {
public:
    static constexpr double MAX_DOUBLE = 1.7976931348623157e+308;
    static constexpr double MEPS_DOUBLE = 2.220446049250313e-16;
    static constexpr double sysmis = -1.7976931348623157e+308;

    // Status codes of the percentile functions.
    enum PtileStatus {
        kPtileOk = 0,
        kPtileExtreme = -1,     // p is 0 or 100: the extreme value, no interval
        kPtileOutOfRange = 2,   // p outside [0, 100]
        kPtileEmpty = 3         // no values
    };

    // a and b equal within k units of MEPS_DOUBLE relative to the larger
    // magnitude; k = 0 asks for exact equality.
    static bool IsZeroDiff(double a, double b, double k);

    // The comparison of the range family (codes 478 ... 513) between x and
    // the request's limits. Group 7 (GTLE) never holds.
    static bool ValueInRange(double x, const AggregationStatistic& stat);

    // The read-outs below take any ordered run of (value, summed weight)
    // pairs: the engine's own KvFreqTable, or a std::map<double, double> held
    // by a caller. They are instantiated for those two types only, so that the
    // algorithms stay in one place in the source file.
    template <class FreqMap>
    static double GetPtile(const FreqMap& freq, double p, int& status);
    template <class FreqMap>
    static double GetGPtile(const FreqMap& freq, double p, int& status);
    // Value 1 is the lower, value 2 the upper limit. sumSqWeights is the sum
    // of squared weights behind the map, or sysmis when no effective base is
    // kept.
    template <class FreqMap>
    static AggregationResult GetCIPtile(const FreqMap& freq, double p, double level, double sumSqWeights,
                                        int& status);
    // Values 1, 2, 3: lower limit, upper limit, coverage (not computed here).
    template <class FreqMap>
    static AggregationResult GetCIMedian(const FreqMap& freq, double level);
    // Among equally frequent values GetMode answers the smallest and
    // GetModeUpper the largest.
    template <class FreqMap>
    static double GetMode(const FreqMap& freq);
    template <class FreqMap>
    static double GetModeUpper(const FreqMap& freq);
};

// Reads KVGRID_MEDIAN_CI_OPT once per process (later calls do nothing): the
// median's confidence limits come from the median interval instead of the
// percentile interval when the variable holds the integer 1.
void SetMedianCIOpt();
// The option as read (false before the first SetMedianCIOpt).
bool GetMedianCIOpt();
// The parsing rule alone: set, non-empty and an integer equal to 1; text that
// does not parse counts as 0.
bool MedianCIOptFromText(const char* text);

#endif
