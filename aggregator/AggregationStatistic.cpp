#include "AggregationStatistic.h"

#include <unordered_map>

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

namespace {

struct PrimeAndConf {
    int primary;
    StatisticConf conf;
    bool known;
};

// The group table over codes 0 ... 475. It is data, not arithmetic: the holes
// (195, 196, 299, 301, 302, 304, 320, the members of 385, 389, 393, 397, and
// 0, 465 ... 467) are deliberate and answer like unknown codes.
const PrimeAndConf kGroupTable[476] = {
    {0, TableEncryptionCodes::kConfNone, false}, // 0 kNoStatistic (not in the table)
    {1, TableEncryptionCodes::kConfValue, true},   // 1 kCount
    {1, TableEncryptionCodes::kConfLower, true},   // 2 kCountLCL
    {1, TableEncryptionCodes::kConfUpper, true},   // 3 kCountUCL
    {1, TableEncryptionCodes::kConfStdError, true},   // 4 kCountSE
    {5, TableEncryptionCodes::kConfValue, true},   // 5 kUCount
    {5, TableEncryptionCodes::kConfLower, true},   // 6 kUCountLCL
    {5, TableEncryptionCodes::kConfUpper, true},   // 7 kUCountUCL
    {5, TableEncryptionCodes::kConfStdError, true},   // 8 kUCountSE
    {9, TableEncryptionCodes::kConfNone, true},   // 9 kECount
    {10, TableEncryptionCodes::kConfValue, true},   // 10 kCountPct0
    {10, TableEncryptionCodes::kConfLower, true},   // 11 kCountPct0LCL
    {10, TableEncryptionCodes::kConfUpper, true},   // 12 kCountPct0UCL
    {10, TableEncryptionCodes::kConfStdError, true},   // 13 kCountPct0SE
    {14, TableEncryptionCodes::kConfValue, true},   // 14 kUCountPct0
    {14, TableEncryptionCodes::kConfLower, true},   // 15 kUCountPct0LCL
    {14, TableEncryptionCodes::kConfUpper, true},   // 16 kUCountPct0UCL
    {14, TableEncryptionCodes::kConfStdError, true},   // 17 kUCountPct0SE
    {18, TableEncryptionCodes::kConfValue, true},   // 18 kCountPct1
    {18, TableEncryptionCodes::kConfLower, true},   // 19 kCountPct1LCL
    {18, TableEncryptionCodes::kConfUpper, true},   // 20 kCountPct1UCL
    {18, TableEncryptionCodes::kConfStdError, true},   // 21 kCountPct1SE
    {22, TableEncryptionCodes::kConfValue, true},   // 22 kUCountPct1
    {22, TableEncryptionCodes::kConfLower, true},   // 23 kUCountPct1LCL
    {22, TableEncryptionCodes::kConfUpper, true},   // 24 kUCountPct1UCL
    {22, TableEncryptionCodes::kConfStdError, true},   // 25 kUCountPct1SE
    {26, TableEncryptionCodes::kConfValue, true},   // 26 kCountPct2
    {26, TableEncryptionCodes::kConfLower, true},   // 27 kCountPct2LCL
    {26, TableEncryptionCodes::kConfUpper, true},   // 28 kCountPct2UCL
    {26, TableEncryptionCodes::kConfStdError, true},   // 29 kCountPct2SE
    {30, TableEncryptionCodes::kConfValue, true},   // 30 kUCountPct2
    {30, TableEncryptionCodes::kConfLower, true},   // 31 kUCountPct2LCL
    {30, TableEncryptionCodes::kConfUpper, true},   // 32 kUCountPct2UCL
    {30, TableEncryptionCodes::kConfStdError, true},   // 33 kUCountPct2SE
    {34, TableEncryptionCodes::kConfValue, true},   // 34 kCountPct3
    {34, TableEncryptionCodes::kConfLower, true},   // 35 kCountPct3LCL
    {34, TableEncryptionCodes::kConfUpper, true},   // 36 kCountPct3UCL
    {34, TableEncryptionCodes::kConfStdError, true},   // 37 kCountPct3SE
    {38, TableEncryptionCodes::kConfValue, true},   // 38 kUCountPct3
    {38, TableEncryptionCodes::kConfLower, true},   // 39 kUCountPct3LCL
    {38, TableEncryptionCodes::kConfUpper, true},   // 40 kUCountPct3UCL
    {38, TableEncryptionCodes::kConfStdError, true},   // 41 kUCountPct3SE
    {42, TableEncryptionCodes::kConfValue, true},   // 42 kCountPct4
    {42, TableEncryptionCodes::kConfLower, true},   // 43 kCountPct4LCL
    {42, TableEncryptionCodes::kConfUpper, true},   // 44 kCountPct4UCL
    {42, TableEncryptionCodes::kConfStdError, true},   // 45 kCountPct4SE
    {46, TableEncryptionCodes::kConfValue, true},   // 46 kUCountPct4
    {46, TableEncryptionCodes::kConfLower, true},   // 47 kUCountPct4LCL
    {46, TableEncryptionCodes::kConfUpper, true},   // 48 kUCountPct4UCL
    {46, TableEncryptionCodes::kConfStdError, true},   // 49 kUCountPct4SE
    {50, TableEncryptionCodes::kConfValue, true},   // 50 kCountPct5
    {50, TableEncryptionCodes::kConfLower, true},   // 51 kCountPct5LCL
    {50, TableEncryptionCodes::kConfUpper, true},   // 52 kCountPct5UCL
    {50, TableEncryptionCodes::kConfStdError, true},   // 53 kCountPct5SE
    {54, TableEncryptionCodes::kConfValue, true},   // 54 kUCountPct5
    {54, TableEncryptionCodes::kConfLower, true},   // 55 kUCountPct5LCL
    {54, TableEncryptionCodes::kConfUpper, true},   // 56 kUCountPct5UCL
    {54, TableEncryptionCodes::kConfStdError, true},   // 57 kUCountPct5SE
    {58, TableEncryptionCodes::kConfValue, true},   // 58 kCountPct6
    {58, TableEncryptionCodes::kConfLower, true},   // 59 kCountPct6LCL
    {58, TableEncryptionCodes::kConfUpper, true},   // 60 kCountPct6UCL
    {58, TableEncryptionCodes::kConfStdError, true},   // 61 kCountPct6SE
    {62, TableEncryptionCodes::kConfValue, true},   // 62 kUCountPct6
    {62, TableEncryptionCodes::kConfLower, true},   // 63 kUCountPct6LCL
    {62, TableEncryptionCodes::kConfUpper, true},   // 64 kUCountPct6UCL
    {62, TableEncryptionCodes::kConfStdError, true},   // 65 kUCountPct6SE
    {66, TableEncryptionCodes::kConfValue, true},   // 66 kValidNPct0
    {66, TableEncryptionCodes::kConfLower, true},   // 67 kValidNPct0LCL
    {66, TableEncryptionCodes::kConfUpper, true},   // 68 kValidNPct0UCL
    {66, TableEncryptionCodes::kConfStdError, true},   // 69 kValidNPct0SE
    {70, TableEncryptionCodes::kConfValue, true},   // 70 kUValidNPct0
    {70, TableEncryptionCodes::kConfLower, true},   // 71 kUValidNPct0LCL
    {70, TableEncryptionCodes::kConfUpper, true},   // 72 kUValidNPct0UCL
    {70, TableEncryptionCodes::kConfStdError, true},   // 73 kUValidNPct0SE
    {74, TableEncryptionCodes::kConfValue, true},   // 74 kValidNPct1
    {74, TableEncryptionCodes::kConfLower, true},   // 75 kValidNPct1LCL
    {74, TableEncryptionCodes::kConfUpper, true},   // 76 kValidNPct1UCL
    {74, TableEncryptionCodes::kConfStdError, true},   // 77 kValidNPct1SE
    {78, TableEncryptionCodes::kConfValue, true},   // 78 kUValidNPct1
    {78, TableEncryptionCodes::kConfLower, true},   // 79 kUValidNPct1LCL
    {78, TableEncryptionCodes::kConfUpper, true},   // 80 kUValidNPct1UCL
    {78, TableEncryptionCodes::kConfStdError, true},   // 81 kUValidNPct1SE
    {82, TableEncryptionCodes::kConfValue, true},   // 82 kValidNPct2
    {82, TableEncryptionCodes::kConfLower, true},   // 83 kValidNPct2LCL
    {82, TableEncryptionCodes::kConfUpper, true},   // 84 kValidNPct2UCL
    {82, TableEncryptionCodes::kConfStdError, true},   // 85 kValidNPct2SE
    {86, TableEncryptionCodes::kConfValue, true},   // 86 kUValidNPct2
    {86, TableEncryptionCodes::kConfLower, true},   // 87 kUValidNPct2LCL
    {86, TableEncryptionCodes::kConfUpper, true},   // 88 kUValidNPct2UCL
    {86, TableEncryptionCodes::kConfStdError, true},   // 89 kUValidNPct2SE
    {90, TableEncryptionCodes::kConfValue, true},   // 90 kValidNPct3
    {90, TableEncryptionCodes::kConfLower, true},   // 91 kValidNPct3LCL
    {90, TableEncryptionCodes::kConfUpper, true},   // 92 kValidNPct3UCL
    {90, TableEncryptionCodes::kConfStdError, true},   // 93 kValidNPct3SE
    {94, TableEncryptionCodes::kConfValue, true},   // 94 kUValidNPct3
    {94, TableEncryptionCodes::kConfLower, true},   // 95 kUValidNPct3LCL
    {94, TableEncryptionCodes::kConfUpper, true},   // 96 kUValidNPct3UCL
    {94, TableEncryptionCodes::kConfStdError, true},   // 97 kUValidNPct3SE
    {98, TableEncryptionCodes::kConfValue, true},   // 98 kValidNPct4
    {98, TableEncryptionCodes::kConfLower, true},   // 99 kValidNPct4LCL
    {98, TableEncryptionCodes::kConfUpper, true},   // 100 kValidNPct4UCL
    {98, TableEncryptionCodes::kConfStdError, true},   // 101 kValidNPct4SE
    {102, TableEncryptionCodes::kConfValue, true},   // 102 kUValidNPct4
    {102, TableEncryptionCodes::kConfLower, true},   // 103 kUValidNPct4LCL
    {102, TableEncryptionCodes::kConfUpper, true},   // 104 kUValidNPct4UCL
    {102, TableEncryptionCodes::kConfStdError, true},   // 105 kUValidNPct4SE
    {106, TableEncryptionCodes::kConfValue, true},   // 106 kValidNPct5
    {106, TableEncryptionCodes::kConfLower, true},   // 107 kValidNPct5LCL
    {106, TableEncryptionCodes::kConfUpper, true},   // 108 kValidNPct5UCL
    {106, TableEncryptionCodes::kConfStdError, true},   // 109 kValidNPct5SE
    {110, TableEncryptionCodes::kConfValue, true},   // 110 kUValidNPct5
    {110, TableEncryptionCodes::kConfLower, true},   // 111 kUValidNPct5LCL
    {110, TableEncryptionCodes::kConfUpper, true},   // 112 kUValidNPct5UCL
    {110, TableEncryptionCodes::kConfStdError, true},   // 113 kUValidNPct5SE
    {114, TableEncryptionCodes::kConfValue, true},   // 114 kValidNPct6
    {114, TableEncryptionCodes::kConfLower, true},   // 115 kValidNPct6LCL
    {114, TableEncryptionCodes::kConfUpper, true},   // 116 kValidNPct6UCL
    {114, TableEncryptionCodes::kConfStdError, true},   // 117 kValidNPct6SE
    {118, TableEncryptionCodes::kConfValue, true},   // 118 kUValidNPct6
    {118, TableEncryptionCodes::kConfLower, true},   // 119 kUValidNPct6LCL
    {118, TableEncryptionCodes::kConfUpper, true},   // 120 kUValidNPct6UCL
    {118, TableEncryptionCodes::kConfStdError, true},   // 121 kUValidNPct6SE
    {122, TableEncryptionCodes::kConfValue, true},   // 122 kTotalNPct0
    {122, TableEncryptionCodes::kConfLower, true},   // 123 kTotalNPct0LCL
    {122, TableEncryptionCodes::kConfUpper, true},   // 124 kTotalNPct0UCL
    {122, TableEncryptionCodes::kConfStdError, true},   // 125 kTotalNPct0SE
    {126, TableEncryptionCodes::kConfValue, true},   // 126 kUTotalNPct0
    {126, TableEncryptionCodes::kConfLower, true},   // 127 kUTotalNPct0LCL
    {126, TableEncryptionCodes::kConfUpper, true},   // 128 kUTotalNPct0UCL
    {126, TableEncryptionCodes::kConfStdError, true},   // 129 kUTotalNPct0SE
    {130, TableEncryptionCodes::kConfValue, true},   // 130 kTotalNPct1
    {130, TableEncryptionCodes::kConfLower, true},   // 131 kTotalNPct1LCL
    {130, TableEncryptionCodes::kConfUpper, true},   // 132 kTotalNPct1UCL
    {130, TableEncryptionCodes::kConfStdError, true},   // 133 kTotalNPct1SE
    {134, TableEncryptionCodes::kConfValue, true},   // 134 kUTotalNPct1
    {134, TableEncryptionCodes::kConfLower, true},   // 135 kUTotalNPct1LCL
    {134, TableEncryptionCodes::kConfUpper, true},   // 136 kUTotalNPct1UCL
    {134, TableEncryptionCodes::kConfStdError, true},   // 137 kUTotalNPct1SE
    {138, TableEncryptionCodes::kConfValue, true},   // 138 kTotalNPct2
    {138, TableEncryptionCodes::kConfLower, true},   // 139 kTotalNPct2LCL
    {138, TableEncryptionCodes::kConfUpper, true},   // 140 kTotalNPct2UCL
    {138, TableEncryptionCodes::kConfStdError, true},   // 141 kTotalNPct2SE
    {142, TableEncryptionCodes::kConfValue, true},   // 142 kUTotalNPct2
    {142, TableEncryptionCodes::kConfLower, true},   // 143 kUTotalNPct2LCL
    {142, TableEncryptionCodes::kConfUpper, true},   // 144 kUTotalNPct2UCL
    {142, TableEncryptionCodes::kConfStdError, true},   // 145 kUTotalNPct2SE
    {146, TableEncryptionCodes::kConfValue, true},   // 146 kTotalNPct3
    {146, TableEncryptionCodes::kConfLower, true},   // 147 kTotalNPct3LCL
    {146, TableEncryptionCodes::kConfUpper, true},   // 148 kTotalNPct3UCL
    {146, TableEncryptionCodes::kConfStdError, true},   // 149 kTotalNPct3SE
    {150, TableEncryptionCodes::kConfValue, true},   // 150 kUTotalNPct3
    {150, TableEncryptionCodes::kConfLower, true},   // 151 kUTotalNPct3LCL
    {150, TableEncryptionCodes::kConfUpper, true},   // 152 kUTotalNPct3UCL
    {150, TableEncryptionCodes::kConfStdError, true},   // 153 kUTotalNPct3SE
    {154, TableEncryptionCodes::kConfValue, true},   // 154 kTotalNPct4
    {154, TableEncryptionCodes::kConfLower, true},   // 155 kTotalNPct4LCL
    {154, TableEncryptionCodes::kConfUpper, true},   // 156 kTotalNPct4UCL
    {154, TableEncryptionCodes::kConfStdError, true},   // 157 kTotalNPct4SE
    {158, TableEncryptionCodes::kConfValue, true},   // 158 kUTotalNPct4
    {158, TableEncryptionCodes::kConfLower, true},   // 159 kUTotalNPct4LCL
    {158, TableEncryptionCodes::kConfUpper, true},   // 160 kUTotalNPct4UCL
    {158, TableEncryptionCodes::kConfStdError, true},   // 161 kUTotalNPct4SE
    {162, TableEncryptionCodes::kConfValue, true},   // 162 kTotalNPct5
    {162, TableEncryptionCodes::kConfLower, true},   // 163 kTotalNPct5LCL
    {162, TableEncryptionCodes::kConfUpper, true},   // 164 kTotalNPct5UCL
    {162, TableEncryptionCodes::kConfStdError, true},   // 165 kTotalNPct5SE
    {166, TableEncryptionCodes::kConfValue, true},   // 166 kUTotalNPct5
    {166, TableEncryptionCodes::kConfLower, true},   // 167 kUTotalNPct5LCL
    {166, TableEncryptionCodes::kConfUpper, true},   // 168 kUTotalNPct5UCL
    {166, TableEncryptionCodes::kConfStdError, true},   // 169 kUTotalNPct5SE
    {170, TableEncryptionCodes::kConfValue, true},   // 170 kTotalNPct6
    {170, TableEncryptionCodes::kConfLower, true},   // 171 kTotalNPct6LCL
    {170, TableEncryptionCodes::kConfUpper, true},   // 172 kTotalNPct6UCL
    {170, TableEncryptionCodes::kConfStdError, true},   // 173 kTotalNPct6SE
    {174, TableEncryptionCodes::kConfValue, true},   // 174 kUTotalNPct6
    {174, TableEncryptionCodes::kConfLower, true},   // 175 kUTotalNPct6LCL
    {174, TableEncryptionCodes::kConfUpper, true},   // 176 kUTotalNPct6UCL
    {174, TableEncryptionCodes::kConfStdError, true},   // 177 kUTotalNPct6SE
    {178, TableEncryptionCodes::kConfNone, true},   // 178 kMaximum
    {179, TableEncryptionCodes::kConfValue, true},   // 179 kMean
    {179, TableEncryptionCodes::kConfLower, true},   // 180 kMeanLCL
    {179, TableEncryptionCodes::kConfUpper, true},   // 181 kMeanUCL
    {179, TableEncryptionCodes::kConfStdError, true},   // 182 kMeanSE
    {183, TableEncryptionCodes::kConfValue, true},   // 183 kUMean
    {183, TableEncryptionCodes::kConfLower, true},   // 184 kUMeanLCL
    {183, TableEncryptionCodes::kConfUpper, true},   // 185 kUMeanUCL
    {183, TableEncryptionCodes::kConfStdError, true},   // 186 kUMeanSE
    {187, TableEncryptionCodes::kConfValue, true},   // 187 kMedian
    {187, TableEncryptionCodes::kConfLower, true},   // 188 kMedianLCL
    {187, TableEncryptionCodes::kConfUpper, true},   // 189 kMedianUCL
    {187, TableEncryptionCodes::kConfStdError, true},   // 190 kMedianSE
    {191, TableEncryptionCodes::kConfValue, true},   // 191 kUMedian
    {191, TableEncryptionCodes::kConfLower, true},   // 192 kUMedianLCL
    {191, TableEncryptionCodes::kConfUpper, true},   // 193 kUMedianUCL
    {191, TableEncryptionCodes::kConfStdError, true},   // 194 kUMedianSE
    {195, TableEncryptionCodes::kConfNone, false}, // 195 kGroupedMedian (not in the table)
    {196, TableEncryptionCodes::kConfNone, false}, // 196 kUGroupedMedian (not in the table)
    {197, TableEncryptionCodes::kConfNone, true},   // 197 kMinimum
    {198, TableEncryptionCodes::kConfNone, true},   // 198 kMissingCount
    {199, TableEncryptionCodes::kConfNone, true},   // 199 kUMissingCount
    {200, TableEncryptionCodes::kConfNone, true},   // 200 kMode
    {201, TableEncryptionCodes::kConfNone, true},   // 201 kUMode
    {202, TableEncryptionCodes::kConfNone, true},   // 202 kRange
    {203, TableEncryptionCodes::kConfNone, true},   // 203 kStdDev
    {204, TableEncryptionCodes::kConfNone, true},   // 204 kUStdDev
    {205, TableEncryptionCodes::kConfValue, true},   // 205 kSum
    {205, TableEncryptionCodes::kConfLower, true},   // 206 kSumLCL
    {205, TableEncryptionCodes::kConfUpper, true},   // 207 kSumUCL
    {205, TableEncryptionCodes::kConfStdError, true},   // 208 kSumSE
    {209, TableEncryptionCodes::kConfValue, true},   // 209 kUSum
    {209, TableEncryptionCodes::kConfLower, true},   // 210 kUSumLCL
    {209, TableEncryptionCodes::kConfUpper, true},   // 211 kUSumUCL
    {209, TableEncryptionCodes::kConfStdError, true},   // 212 kUSumSE
    {213, TableEncryptionCodes::kConfValue, true},   // 213 kTotalN
    {213, TableEncryptionCodes::kConfLower, true},   // 214 kTotalNLCL
    {213, TableEncryptionCodes::kConfUpper, true},   // 215 kTotalNUCL
    {213, TableEncryptionCodes::kConfStdError, true},   // 216 kTotalNSE
    {217, TableEncryptionCodes::kConfValue, true},   // 217 kUTotalN
    {217, TableEncryptionCodes::kConfLower, true},   // 218 kUTotalNLCL
    {217, TableEncryptionCodes::kConfUpper, true},   // 219 kUTotalNUCL
    {217, TableEncryptionCodes::kConfStdError, true},   // 220 kUTotalNSE
    {221, TableEncryptionCodes::kConfNone, true},   // 221 kETotalN
    {222, TableEncryptionCodes::kConfValue, true},   // 222 kValidN
    {222, TableEncryptionCodes::kConfLower, true},   // 223 kValidNLCL
    {222, TableEncryptionCodes::kConfUpper, true},   // 224 kValidNUCL
    {222, TableEncryptionCodes::kConfStdError, true},   // 225 kValidNSE
    {226, TableEncryptionCodes::kConfValue, true},   // 226 kUValidN
    {226, TableEncryptionCodes::kConfLower, true},   // 227 kUValidNLCL
    {226, TableEncryptionCodes::kConfUpper, true},   // 228 kUValidNUCL
    {226, TableEncryptionCodes::kConfStdError, true},   // 229 kUValidNSE
    {230, TableEncryptionCodes::kConfNone, true},   // 230 kEValidN
    {231, TableEncryptionCodes::kConfNone, true},   // 231 kVariance
    {232, TableEncryptionCodes::kConfNone, true},   // 232 kUVariance
    {233, TableEncryptionCodes::kConfValue, true},   // 233 kSumPct0
    {233, TableEncryptionCodes::kConfLower, true},   // 234 kSumPct0LCL
    {233, TableEncryptionCodes::kConfUpper, true},   // 235 kSumPct0UCL
    {233, TableEncryptionCodes::kConfStdError, true},   // 236 kSumPct0SE
    {237, TableEncryptionCodes::kConfValue, true},   // 237 kUSumPct0
    {237, TableEncryptionCodes::kConfLower, true},   // 238 kUSumPct0LCL
    {237, TableEncryptionCodes::kConfUpper, true},   // 239 kUSumPct0UCL
    {237, TableEncryptionCodes::kConfStdError, true},   // 240 kUSumPct0SE
    {241, TableEncryptionCodes::kConfValue, true},   // 241 kSumPct1
    {241, TableEncryptionCodes::kConfLower, true},   // 242 kSumPct1LCL
    {241, TableEncryptionCodes::kConfUpper, true},   // 243 kSumPct1UCL
    {241, TableEncryptionCodes::kConfStdError, true},   // 244 kSumPct1SE
    {245, TableEncryptionCodes::kConfValue, true},   // 245 kUSumPct1
    {245, TableEncryptionCodes::kConfLower, true},   // 246 kUSumPct1LCL
    {245, TableEncryptionCodes::kConfUpper, true},   // 247 kUSumPct1UCL
    {245, TableEncryptionCodes::kConfStdError, true},   // 248 kUSumPct1SE
    {249, TableEncryptionCodes::kConfValue, true},   // 249 kSumPct2
    {249, TableEncryptionCodes::kConfLower, true},   // 250 kSumPct2LCL
    {249, TableEncryptionCodes::kConfUpper, true},   // 251 kSumPct2UCL
    {249, TableEncryptionCodes::kConfStdError, true},   // 252 kSumPct2SE
    {253, TableEncryptionCodes::kConfValue, true},   // 253 kUSumPct2
    {253, TableEncryptionCodes::kConfLower, true},   // 254 kUSumPct2LCL
    {253, TableEncryptionCodes::kConfUpper, true},   // 255 kUSumPct2UCL
    {253, TableEncryptionCodes::kConfStdError, true},   // 256 kUSumPct2SE
    {257, TableEncryptionCodes::kConfValue, true},   // 257 kSumPct3
    {257, TableEncryptionCodes::kConfLower, true},   // 258 kSumPct3LCL
    {257, TableEncryptionCodes::kConfUpper, true},   // 259 kSumPct3UCL
    {257, TableEncryptionCodes::kConfStdError, true},   // 260 kSumPct3SE
    {261, TableEncryptionCodes::kConfValue, true},   // 261 kUSumPct3
    {261, TableEncryptionCodes::kConfLower, true},   // 262 kUSumPct3LCL
    {261, TableEncryptionCodes::kConfUpper, true},   // 263 kUSumPct3UCL
    {261, TableEncryptionCodes::kConfStdError, true},   // 264 kUSumPct3SE
    {265, TableEncryptionCodes::kConfValue, true},   // 265 kSumPct4
    {265, TableEncryptionCodes::kConfLower, true},   // 266 kSumPct4LCL
    {265, TableEncryptionCodes::kConfUpper, true},   // 267 kSumPct4UCL
    {265, TableEncryptionCodes::kConfStdError, true},   // 268 kSumPct4SE
    {269, TableEncryptionCodes::kConfValue, true},   // 269 kUSumPct4
    {269, TableEncryptionCodes::kConfLower, true},   // 270 kUSumPct4LCL
    {269, TableEncryptionCodes::kConfUpper, true},   // 271 kUSumPct4UCL
    {269, TableEncryptionCodes::kConfStdError, true},   // 272 kUSumPct4SE
    {273, TableEncryptionCodes::kConfValue, true},   // 273 kSumPct5
    {273, TableEncryptionCodes::kConfLower, true},   // 274 kSumPct5LCL
    {273, TableEncryptionCodes::kConfUpper, true},   // 275 kSumPct5UCL
    {273, TableEncryptionCodes::kConfStdError, true},   // 276 kSumPct5SE
    {277, TableEncryptionCodes::kConfValue, true},   // 277 kUSumPct5
    {277, TableEncryptionCodes::kConfLower, true},   // 278 kUSumPct5LCL
    {277, TableEncryptionCodes::kConfUpper, true},   // 279 kUSumPct5UCL
    {277, TableEncryptionCodes::kConfStdError, true},   // 280 kUSumPct5SE
    {281, TableEncryptionCodes::kConfValue, true},   // 281 kSumPct6
    {281, TableEncryptionCodes::kConfLower, true},   // 282 kSumPct6LCL
    {281, TableEncryptionCodes::kConfUpper, true},   // 283 kSumPct6UCL
    {281, TableEncryptionCodes::kConfStdError, true},   // 284 kSumPct6SE
    {285, TableEncryptionCodes::kConfValue, true},   // 285 kUSumPct6
    {285, TableEncryptionCodes::kConfLower, true},   // 286 kUSumPct6LCL
    {285, TableEncryptionCodes::kConfUpper, true},   // 287 kUSumPct6UCL
    {285, TableEncryptionCodes::kConfStdError, true},   // 288 kUSumPct6SE
    {289, TableEncryptionCodes::kConfValue, true},   // 289 kResponses
    {289, TableEncryptionCodes::kConfLower, true},   // 290 kResponsesLCL
    {289, TableEncryptionCodes::kConfUpper, true},   // 291 kResponsesUCL
    {289, TableEncryptionCodes::kConfStdError, true},   // 292 kResponsesSE
    {293, TableEncryptionCodes::kConfValue, true},   // 293 kUResponses
    {293, TableEncryptionCodes::kConfLower, true},   // 294 kUResponsesLCL
    {293, TableEncryptionCodes::kConfUpper, true},   // 295 kUResponsesUCL
    {293, TableEncryptionCodes::kConfStdError, true},   // 296 kUResponsesSE
    {297, TableEncryptionCodes::kConfValue, true},   // 297 kResponsesPct0
    {297, TableEncryptionCodes::kConfLower, true},   // 298 kResponsesPct0LCL
    {299, TableEncryptionCodes::kConfNone, false}, // 299 kResponsesPct0UCL (not in the table)
    {297, TableEncryptionCodes::kConfStdError, true},   // 300 kResponsesPct0SE
    {301, TableEncryptionCodes::kConfNone, false}, // 301 kUResponsesPct0 (not in the table)
    {302, TableEncryptionCodes::kConfNone, false}, // 302 kUResponsesPct0LCL (not in the table)
    {301, TableEncryptionCodes::kConfUpper, true},   // 303 kUResponsesPct0UCL
    {304, TableEncryptionCodes::kConfNone, false}, // 304 kUResponsesPct0SE (not in the table)
    {305, TableEncryptionCodes::kConfValue, true},   // 305 kResponsesPct1
    {305, TableEncryptionCodes::kConfLower, true},   // 306 kResponsesPct1LCL
    {305, TableEncryptionCodes::kConfUpper, true},   // 307 kResponsesPct1UCL
    {305, TableEncryptionCodes::kConfStdError, true},   // 308 kResponsesPct1SE
    {309, TableEncryptionCodes::kConfValue, true},   // 309 kUResponsesPct1
    {309, TableEncryptionCodes::kConfLower, true},   // 310 kUResponsesPct1LCL
    {309, TableEncryptionCodes::kConfUpper, true},   // 311 kUResponsesPct1UCL
    {309, TableEncryptionCodes::kConfStdError, true},   // 312 kUResponsesPct1SE
    {313, TableEncryptionCodes::kConfValue, true},   // 313 kResponsesPct2
    {313, TableEncryptionCodes::kConfLower, true},   // 314 kResponsesPct2LCL
    {313, TableEncryptionCodes::kConfUpper, true},   // 315 kResponsesPct2UCL
    {313, TableEncryptionCodes::kConfStdError, true},   // 316 kResponsesPct2SE
    {317, TableEncryptionCodes::kConfValue, true},   // 317 kUResponsesPct2
    {317, TableEncryptionCodes::kConfLower, true},   // 318 kUResponsesPct2LCL
    {317, TableEncryptionCodes::kConfUpper, true},   // 319 kUResponsesPct2UCL
    {320, TableEncryptionCodes::kConfNone, false}, // 320 kUResponsesPct2SE (not in the table)
    {321, TableEncryptionCodes::kConfValue, true},   // 321 kResponsesPct3
    {321, TableEncryptionCodes::kConfLower, true},   // 322 kResponsesPct3LCL
    {321, TableEncryptionCodes::kConfUpper, true},   // 323 kResponsesPct3UCL
    {321, TableEncryptionCodes::kConfStdError, true},   // 324 kResponsesPct3SE
    {325, TableEncryptionCodes::kConfValue, true},   // 325 kUResponsesPct3
    {325, TableEncryptionCodes::kConfLower, true},   // 326 kUResponsesPct3LCL
    {325, TableEncryptionCodes::kConfUpper, true},   // 327 kUResponsesPct3UCL
    {325, TableEncryptionCodes::kConfStdError, true},   // 328 kUResponsesPct3SE
    {329, TableEncryptionCodes::kConfValue, true},   // 329 kResponsesPct4
    {329, TableEncryptionCodes::kConfLower, true},   // 330 kResponsesPct4LCL
    {329, TableEncryptionCodes::kConfUpper, true},   // 331 kResponsesPct4UCL
    {329, TableEncryptionCodes::kConfStdError, true},   // 332 kResponsesPct4SE
    {333, TableEncryptionCodes::kConfValue, true},   // 333 kUResponsesPct4
    {333, TableEncryptionCodes::kConfLower, true},   // 334 kUResponsesPct4LCL
    {333, TableEncryptionCodes::kConfUpper, true},   // 335 kUResponsesPct4UCL
    {333, TableEncryptionCodes::kConfStdError, true},   // 336 kUResponsesPct4SE
    {337, TableEncryptionCodes::kConfValue, true},   // 337 kResponsesPct5
    {337, TableEncryptionCodes::kConfLower, true},   // 338 kResponsesPct5LCL
    {337, TableEncryptionCodes::kConfUpper, true},   // 339 kResponsesPct5UCL
    {337, TableEncryptionCodes::kConfStdError, true},   // 340 kResponsesPct5SE
    {341, TableEncryptionCodes::kConfValue, true},   // 341 kUResponsesPct5
    {341, TableEncryptionCodes::kConfLower, true},   // 342 kUResponsesPct5LCL
    {341, TableEncryptionCodes::kConfUpper, true},   // 343 kUResponsesPct5UCL
    {341, TableEncryptionCodes::kConfStdError, true},   // 344 kUResponsesPct5SE
    {345, TableEncryptionCodes::kConfValue, true},   // 345 kResponsesPct6
    {345, TableEncryptionCodes::kConfLower, true},   // 346 kResponsesPct6LCL
    {345, TableEncryptionCodes::kConfUpper, true},   // 347 kResponsesPct6UCL
    {345, TableEncryptionCodes::kConfStdError, true},   // 348 kResponsesPct6SE
    {349, TableEncryptionCodes::kConfValue, true},   // 349 kUResponsesPct6
    {349, TableEncryptionCodes::kConfLower, true},   // 350 kUResponsesPct6LCL
    {349, TableEncryptionCodes::kConfUpper, true},   // 351 kUResponsesPct6UCL
    {349, TableEncryptionCodes::kConfStdError, true},   // 352 kUResponsesPct6SE
    {353, TableEncryptionCodes::kConfValue, true},   // 353 kResponsesCountPct0
    {353, TableEncryptionCodes::kConfLower, true},   // 354 kResponsesCountPct0LCL
    {353, TableEncryptionCodes::kConfUpper, true},   // 355 kResponsesCountPct0UCL
    {353, TableEncryptionCodes::kConfStdError, true},   // 356 kResponsesCountPct0SE
    {357, TableEncryptionCodes::kConfValue, true},   // 357 kUResponsesCountPct0
    {357, TableEncryptionCodes::kConfLower, true},   // 358 kUResponsesCountPct0LCL
    {357, TableEncryptionCodes::kConfUpper, true},   // 359 kUResponsesCountPct0UCL
    {357, TableEncryptionCodes::kConfStdError, true},   // 360 kUResponsesCountPct0SE
    {361, TableEncryptionCodes::kConfValue, true},   // 361 kResponsesCountPct1
    {361, TableEncryptionCodes::kConfLower, true},   // 362 kResponsesCountPct1LCL
    {361, TableEncryptionCodes::kConfUpper, true},   // 363 kResponsesCountPct1UCL
    {361, TableEncryptionCodes::kConfStdError, true},   // 364 kResponsesCountPct1SE
    {365, TableEncryptionCodes::kConfValue, true},   // 365 kUResponsesCountPct1
    {365, TableEncryptionCodes::kConfLower, true},   // 366 kUResponsesCountPct1LCL
    {365, TableEncryptionCodes::kConfUpper, true},   // 367 kUResponsesCountPct1UCL
    {365, TableEncryptionCodes::kConfStdError, true},   // 368 kUResponsesCountPct1SE
    {369, TableEncryptionCodes::kConfValue, true},   // 369 kResponsesCountPct2
    {369, TableEncryptionCodes::kConfLower, true},   // 370 kResponsesCountPct2LCL
    {369, TableEncryptionCodes::kConfUpper, true},   // 371 kResponsesCountPct2UCL
    {369, TableEncryptionCodes::kConfStdError, true},   // 372 kResponsesCountPct2SE
    {373, TableEncryptionCodes::kConfValue, true},   // 373 kUResponsesCountPct2
    {373, TableEncryptionCodes::kConfLower, true},   // 374 kUResponsesCountPct2LCL
    {373, TableEncryptionCodes::kConfUpper, true},   // 375 kUResponsesCountPct2UCL
    {373, TableEncryptionCodes::kConfStdError, true},   // 376 kUResponsesCountPct2SE
    {377, TableEncryptionCodes::kConfValue, true},   // 377 kResponsesCountPct3
    {377, TableEncryptionCodes::kConfLower, true},   // 378 kResponsesCountPct3LCL
    {377, TableEncryptionCodes::kConfUpper, true},   // 379 kResponsesCountPct3UCL
    {377, TableEncryptionCodes::kConfStdError, true},   // 380 kResponsesCountPct3SE
    {381, TableEncryptionCodes::kConfValue, true},   // 381 kUResponsesCountPct3
    {381, TableEncryptionCodes::kConfLower, true},   // 382 kUResponsesCountPct3LCL
    {381, TableEncryptionCodes::kConfUpper, true},   // 383 kUResponsesCountPct3UCL
    {381, TableEncryptionCodes::kConfStdError, true},   // 384 kUResponsesCountPct3SE
    {385, TableEncryptionCodes::kConfValue, true},   // 385 kResponsesCountPct4
    {386, TableEncryptionCodes::kConfNone, false}, // 386 kResponsesCountPct4LCL (not in the table)
    {387, TableEncryptionCodes::kConfNone, false}, // 387 kResponsesCountPct4UCL (not in the table)
    {388, TableEncryptionCodes::kConfNone, false}, // 388 kResponsesCountPct4SE (not in the table)
    {389, TableEncryptionCodes::kConfValue, true},   // 389 kUResponsesCountPct4
    {390, TableEncryptionCodes::kConfNone, false}, // 390 kUResponsesCountPct4LCL (not in the table)
    {391, TableEncryptionCodes::kConfNone, false}, // 391 kUResponsesCountPct4UCL (not in the table)
    {392, TableEncryptionCodes::kConfNone, false}, // 392 kUResponsesCountPct4SE (not in the table)
    {393, TableEncryptionCodes::kConfValue, true},   // 393 kResponsesCountPct5
    {394, TableEncryptionCodes::kConfNone, false}, // 394 kResponsesCountPct5LCL (not in the table)
    {395, TableEncryptionCodes::kConfNone, false}, // 395 kResponsesCountPct5UCL (not in the table)
    {396, TableEncryptionCodes::kConfNone, false}, // 396 kResponsesCountPct5SE (not in the table)
    {397, TableEncryptionCodes::kConfValue, true},   // 397 kUResponsesCountPct5
    {398, TableEncryptionCodes::kConfNone, false}, // 398 kUResponsesCountPct5LCL (not in the table)
    {399, TableEncryptionCodes::kConfNone, false}, // 399 kUResponsesCountPct5UCL (not in the table)
    {400, TableEncryptionCodes::kConfNone, false}, // 400 kUResponsesCountPct5SE (not in the table)
    {401, TableEncryptionCodes::kConfValue, true},   // 401 kResponsesCountPct6
    {401, TableEncryptionCodes::kConfLower, true},   // 402 kResponsesCountPct6LCL
    {401, TableEncryptionCodes::kConfUpper, true},   // 403 kResponsesCountPct6UCL
    {401, TableEncryptionCodes::kConfStdError, true},   // 404 kResponsesCountPct6SE
    {405, TableEncryptionCodes::kConfValue, true},   // 405 kUResponsesCountPct6
    {405, TableEncryptionCodes::kConfLower, true},   // 406 kUResponsesCountPct6LCL
    {405, TableEncryptionCodes::kConfUpper, true},   // 407 kUResponsesCountPct6UCL
    {405, TableEncryptionCodes::kConfStdError, true},   // 408 kUResponsesCountPct6SE
    {409, TableEncryptionCodes::kConfValue, true},   // 409 kCountResponsesPct0
    {409, TableEncryptionCodes::kConfLower, true},   // 410 kCountResponsesPct0LCL
    {409, TableEncryptionCodes::kConfUpper, true},   // 411 kCountResponsesPct0UCL
    {409, TableEncryptionCodes::kConfStdError, true},   // 412 kCountResponsesPct0SE
    {413, TableEncryptionCodes::kConfValue, true},   // 413 kUCountResponsesPct0
    {413, TableEncryptionCodes::kConfLower, true},   // 414 kUCountResponsesPct0LCL
    {413, TableEncryptionCodes::kConfUpper, true},   // 415 kUCountResponsesPct0UCL
    {413, TableEncryptionCodes::kConfStdError, true},   // 416 kUCountResponsesPct0SE
    {417, TableEncryptionCodes::kConfValue, true},   // 417 kCountResponsesPct1
    {417, TableEncryptionCodes::kConfLower, true},   // 418 kCountResponsesPct1LCL
    {417, TableEncryptionCodes::kConfUpper, true},   // 419 kCountResponsesPct1UCL
    {417, TableEncryptionCodes::kConfStdError, true},   // 420 kCountResponsesPct1SE
    {421, TableEncryptionCodes::kConfValue, true},   // 421 kUCountResponsesPct1
    {421, TableEncryptionCodes::kConfLower, true},   // 422 kUCountResponsesPct1LCL
    {421, TableEncryptionCodes::kConfUpper, true},   // 423 kUCountResponsesPct1UCL
    {421, TableEncryptionCodes::kConfStdError, true},   // 424 kUCountResponsesPct1SE
    {425, TableEncryptionCodes::kConfValue, true},   // 425 kCountResponsesPct2
    {425, TableEncryptionCodes::kConfLower, true},   // 426 kCountResponsesPct2LCL
    {425, TableEncryptionCodes::kConfUpper, true},   // 427 kCountResponsesPct2UCL
    {425, TableEncryptionCodes::kConfStdError, true},   // 428 kCountResponsesPct2SE
    {429, TableEncryptionCodes::kConfValue, true},   // 429 kUCountResponsesPct2
    {429, TableEncryptionCodes::kConfLower, true},   // 430 kUCountResponsesPct2LCL
    {429, TableEncryptionCodes::kConfUpper, true},   // 431 kUCountResponsesPct2UCL
    {429, TableEncryptionCodes::kConfStdError, true},   // 432 kUCountResponsesPct2SE
    {433, TableEncryptionCodes::kConfValue, true},   // 433 kCountResponsesPct3
    {433, TableEncryptionCodes::kConfLower, true},   // 434 kCountResponsesPct3LCL
    {433, TableEncryptionCodes::kConfUpper, true},   // 435 kCountResponsesPct3UCL
    {433, TableEncryptionCodes::kConfStdError, true},   // 436 kCountResponsesPct3SE
    {437, TableEncryptionCodes::kConfValue, true},   // 437 kUCountResponsesPct3
    {437, TableEncryptionCodes::kConfLower, true},   // 438 kUCountResponsesPct3LCL
    {437, TableEncryptionCodes::kConfUpper, true},   // 439 kUCountResponsesPct3UCL
    {437, TableEncryptionCodes::kConfStdError, true},   // 440 kUCountResponsesPct3SE
    {441, TableEncryptionCodes::kConfValue, true},   // 441 kCountResponsesPct4
    {441, TableEncryptionCodes::kConfLower, true},   // 442 kCountResponsesPct4LCL
    {441, TableEncryptionCodes::kConfUpper, true},   // 443 kCountResponsesPct4UCL
    {441, TableEncryptionCodes::kConfStdError, true},   // 444 kCountResponsesPct4SE
    {445, TableEncryptionCodes::kConfValue, true},   // 445 kUCountResponsesPct4
    {445, TableEncryptionCodes::kConfLower, true},   // 446 kUCountResponsesPct4LCL
    {445, TableEncryptionCodes::kConfUpper, true},   // 447 kUCountResponsesPct4UCL
    {445, TableEncryptionCodes::kConfStdError, true},   // 448 kUCountResponsesPct4SE
    {449, TableEncryptionCodes::kConfValue, true},   // 449 kCountResponsesPct5
    {449, TableEncryptionCodes::kConfLower, true},   // 450 kCountResponsesPct5LCL
    {449, TableEncryptionCodes::kConfUpper, true},   // 451 kCountResponsesPct5UCL
    {449, TableEncryptionCodes::kConfStdError, true},   // 452 kCountResponsesPct5SE
    {453, TableEncryptionCodes::kConfValue, true},   // 453 kUCountResponsesPct5
    {453, TableEncryptionCodes::kConfLower, true},   // 454 kUCountResponsesPct5LCL
    {453, TableEncryptionCodes::kConfUpper, true},   // 455 kUCountResponsesPct5UCL
    {453, TableEncryptionCodes::kConfStdError, true},   // 456 kUCountResponsesPct5SE
    {457, TableEncryptionCodes::kConfValue, true},   // 457 kCountResponsesPct6
    {457, TableEncryptionCodes::kConfLower, true},   // 458 kCountResponsesPct6LCL
    {457, TableEncryptionCodes::kConfUpper, true},   // 459 kCountResponsesPct6UCL
    {457, TableEncryptionCodes::kConfStdError, true},   // 460 kCountResponsesPct6SE
    {461, TableEncryptionCodes::kConfValue, true},   // 461 kUCountResponsesPct6
    {461, TableEncryptionCodes::kConfLower, true},   // 462 kUCountResponsesPct6LCL
    {461, TableEncryptionCodes::kConfUpper, true},   // 463 kUCountResponsesPct6UCL
    {461, TableEncryptionCodes::kConfStdError, true},   // 464 kUCountResponsesPct6SE
    {465, TableEncryptionCodes::kConfNone, false}, // 465 kSumSqDeviation (not in the table)
    {466, TableEncryptionCodes::kConfNone, false}, // 466 kMedianCI (not in the table)
    {467, TableEncryptionCodes::kConfNone, false}, // 467 kUMedianCI (not in the table)
    {468, TableEncryptionCodes::kConfValue, true},   // 468 kPtile
    {468, TableEncryptionCodes::kConfLower, true},   // 469 kPtileLCL
    {468, TableEncryptionCodes::kConfUpper, true},   // 470 kPtileUCL
    {468, TableEncryptionCodes::kConfStdError, true},   // 471 kPtileSE
    {472, TableEncryptionCodes::kConfValue, true},   // 472 kUPtile
    {472, TableEncryptionCodes::kConfLower, true},   // 473 kUPtileLCL
    {472, TableEncryptionCodes::kConfUpper, true},   // 474 kUPtileUCL
    {472, TableEncryptionCodes::kConfStdError, true},   // 475 kUPtileSE
};

const char* const kStatisticNames[TableEncryptionCodes::kLastStatisticCode + 1] = {
    "NoStatistic",
    "Count",
    "CountLCL",
    "CountUCL",
    "CountSE",
    "UCount",
    "UCountLCL",
    "UCountUCL",
    "UCountSE",
    "ECount",
    "CountPct0",
    "CountPct0LCL",
    "CountPct0UCL",
    "CountPct0SE",
    "UCountPct0",
    "UCountPct0LCL",
    "UCountPct0UCL",
    "UCountPct0SE",
    "CountPct1",
    "CountPct1LCL",
    "CountPct1UCL",
    "CountPct1SE",
    "UCountPct1",
    "UCountPct1LCL",
    "UCountPct1UCL",
    "UCountPct1SE",
    "CountPct2",
    "CountPct2LCL",
    "CountPct2UCL",
    "CountPct2SE",
    "UCountPct2",
    "UCountPct2LCL",
    "UCountPct2UCL",
    "UCountPct2SE",
    "CountPct3",
    "CountPct3LCL",
    "CountPct3UCL",
    "CountPct3SE",
    "UCountPct3",
    "UCountPct3LCL",
    "UCountPct3UCL",
    "UCountPct3SE",
    "CountPct4",
    "CountPct4LCL",
    "CountPct4UCL",
    "CountPct4SE",
    "UCountPct4",
    "UCountPct4LCL",
    "UCountPct4UCL",
    "UCountPct4SE",
    "CountPct5",
    "CountPct5LCL",
    "CountPct5UCL",
    "CountPct5SE",
    "UCountPct5",
    "UCountPct5LCL",
    "UCountPct5UCL",
    "UCountPct5SE",
    "CountPct6",
    "CountPct6LCL",
    "CountPct6UCL",
    "CountPct6SE",
    "UCountPct6",
    "UCountPct6LCL",
    "UCountPct6UCL",
    "UCountPct6SE",
    "ValidNPct0",
    "ValidNPct0LCL",
    "ValidNPct0UCL",
    "ValidNPct0SE",
    "UValidNPct0",
    "UValidNPct0LCL",
    "UValidNPct0UCL",
    "UValidNPct0SE",
    "ValidNPct1",
    "ValidNPct1LCL",
    "ValidNPct1UCL",
    "ValidNPct1SE",
    "UValidNPct1",
    "UValidNPct1LCL",
    "UValidNPct1UCL",
    "UValidNPct1SE",
    "ValidNPct2",
    "ValidNPct2LCL",
    "ValidNPct2UCL",
    "ValidNPct2SE",
    "UValidNPct2",
    "UValidNPct2LCL",
    "UValidNPct2UCL",
    "UValidNPct2SE",
    "ValidNPct3",
    "ValidNPct3LCL",
    "ValidNPct3UCL",
    "ValidNPct3SE",
    "UValidNPct3",
    "UValidNPct3LCL",
    "UValidNPct3UCL",
    "UValidNPct3SE",
    "ValidNPct4",
    "ValidNPct4LCL",
    "ValidNPct4UCL",
    "ValidNPct4SE",
    "UValidNPct4",
    "UValidNPct4LCL",
    "UValidNPct4UCL",
    "UValidNPct4SE",
    "ValidNPct5",
    "ValidNPct5LCL",
    "ValidNPct5UCL",
    "ValidNPct5SE",
    "UValidNPct5",
    "UValidNPct5LCL",
    "UValidNPct5UCL",
    "UValidNPct5SE",
    "ValidNPct6",
    "ValidNPct6LCL",
    "ValidNPct6UCL",
    "ValidNPct6SE",
    "UValidNPct6",
    "UValidNPct6LCL",
    "UValidNPct6UCL",
    "UValidNPct6SE",
    "TotalNPct0",
    "TotalNPct0LCL",
    "TotalNPct0UCL",
    "TotalNPct0SE",
    "UTotalNPct0",
    "UTotalNPct0LCL",
    "UTotalNPct0UCL",
    "UTotalNPct0SE",
    "TotalNPct1",
    "TotalNPct1LCL",
    "TotalNPct1UCL",
    "TotalNPct1SE",
    "UTotalNPct1",
    "UTotalNPct1LCL",
    "UTotalNPct1UCL",
    "UTotalNPct1SE",
    "TotalNPct2",
    "TotalNPct2LCL",
    "TotalNPct2UCL",
    "TotalNPct2SE",
    "UTotalNPct2",
    "UTotalNPct2LCL",
    "UTotalNPct2UCL",
    "UTotalNPct2SE",
    "TotalNPct3",
    "TotalNPct3LCL",
    "TotalNPct3UCL",
    "TotalNPct3SE",
    "UTotalNPct3",
    "UTotalNPct3LCL",
    "UTotalNPct3UCL",
    "UTotalNPct3SE",
    "TotalNPct4",
    "TotalNPct4LCL",
    "TotalNPct4UCL",
    "TotalNPct4SE",
    "UTotalNPct4",
    "UTotalNPct4LCL",
    "UTotalNPct4UCL",
    "UTotalNPct4SE",
    "TotalNPct5",
    "TotalNPct5LCL",
    "TotalNPct5UCL",
    "TotalNPct5SE",
    "UTotalNPct5",
    "UTotalNPct5LCL",
    "UTotalNPct5UCL",
    "UTotalNPct5SE",
    "TotalNPct6",
    "TotalNPct6LCL",
    "TotalNPct6UCL",
    "TotalNPct6SE",
    "UTotalNPct6",
    "UTotalNPct6LCL",
    "UTotalNPct6UCL",
    "UTotalNPct6SE",
    "Maximum",
    "Mean",
    "MeanLCL",
    "MeanUCL",
    "MeanSE",
    "UMean",
    "UMeanLCL",
    "UMeanUCL",
    "UMeanSE",
    "Median",
    "MedianLCL",
    "MedianUCL",
    "MedianSE",
    "UMedian",
    "UMedianLCL",
    "UMedianUCL",
    "UMedianSE",
    "GroupedMedian",
    "UGroupedMedian",
    "Minimum",
    "MissingCount",
    "UMissingCount",
    "Mode",
    "UMode",
    "Range",
    "StdDev",
    "UStdDev",
    "Sum",
    "SumLCL",
    "SumUCL",
    "SumSE",
    "USum",
    "USumLCL",
    "USumUCL",
    "USumSE",
    "TotalN",
    "TotalNLCL",
    "TotalNUCL",
    "TotalNSE",
    "UTotalN",
    "UTotalNLCL",
    "UTotalNUCL",
    "UTotalNSE",
    "ETotalN",
    "ValidN",
    "ValidNLCL",
    "ValidNUCL",
    "ValidNSE",
    "UValidN",
    "UValidNLCL",
    "UValidNUCL",
    "UValidNSE",
    "EValidN",
    "Variance",
    "UVariance",
    "SumPct0",
    "SumPct0LCL",
    "SumPct0UCL",
    "SumPct0SE",
    "USumPct0",
    "USumPct0LCL",
    "USumPct0UCL",
    "USumPct0SE",
    "SumPct1",
    "SumPct1LCL",
    "SumPct1UCL",
    "SumPct1SE",
    "USumPct1",
    "USumPct1LCL",
    "USumPct1UCL",
    "USumPct1SE",
    "SumPct2",
    "SumPct2LCL",
    "SumPct2UCL",
    "SumPct2SE",
    "USumPct2",
    "USumPct2LCL",
    "USumPct2UCL",
    "USumPct2SE",
    "SumPct3",
    "SumPct3LCL",
    "SumPct3UCL",
    "SumPct3SE",
    "USumPct3",
    "USumPct3LCL",
    "USumPct3UCL",
    "USumPct3SE",
    "SumPct4",
    "SumPct4LCL",
    "SumPct4UCL",
    "SumPct4SE",
    "USumPct4",
    "USumPct4LCL",
    "USumPct4UCL",
    "USumPct4SE",
    "SumPct5",
    "SumPct5LCL",
    "SumPct5UCL",
    "SumPct5SE",
    "USumPct5",
    "USumPct5LCL",
    "USumPct5UCL",
    "USumPct5SE",
    "SumPct6",
    "SumPct6LCL",
    "SumPct6UCL",
    "SumPct6SE",
    "USumPct6",
    "USumPct6LCL",
    "USumPct6UCL",
    "USumPct6SE",
    "Responses",
    "ResponsesLCL",
    "ResponsesUCL",
    "ResponsesSE",
    "UResponses",
    "UResponsesLCL",
    "UResponsesUCL",
    "UResponsesSE",
    "ResponsesPct0",
    "ResponsesPct0LCL",
    "ResponsesPct0UCL",
    "ResponsesPct0SE",
    "UResponsesPct0",
    "UResponsesPct0LCL",
    "UResponsesPct0UCL",
    "UResponsesPct0SE",
    "ResponsesPct1",
    "ResponsesPct1LCL",
    "ResponsesPct1UCL",
    "ResponsesPct1SE",
    "UResponsesPct1",
    "UResponsesPct1LCL",
    "UResponsesPct1UCL",
    "UResponsesPct1SE",
    "ResponsesPct2",
    "ResponsesPct2LCL",
    "ResponsesPct2UCL",
    "ResponsesPct2SE",
    "UResponsesPct2",
    "UResponsesPct2LCL",
    "UResponsesPct2UCL",
    "UResponsesPct2SE",
    "ResponsesPct3",
    "ResponsesPct3LCL",
    "ResponsesPct3UCL",
    "ResponsesPct3SE",
    "UResponsesPct3",
    "UResponsesPct3LCL",
    "UResponsesPct3UCL",
    "UResponsesPct3SE",
    "ResponsesPct4",
    "ResponsesPct4LCL",
    "ResponsesPct4UCL",
    "ResponsesPct4SE",
    "UResponsesPct4",
    "UResponsesPct4LCL",
    "UResponsesPct4UCL",
    "UResponsesPct4SE",
    "ResponsesPct5",
    "ResponsesPct5LCL",
    "ResponsesPct5UCL",
    "ResponsesPct5SE",
    "UResponsesPct5",
    "UResponsesPct5LCL",
    "UResponsesPct5UCL",
    "UResponsesPct5SE",
    "ResponsesPct6",
    "ResponsesPct6LCL",
    "ResponsesPct6UCL",
    "ResponsesPct6SE",
    "UResponsesPct6",
    "UResponsesPct6LCL",
    "UResponsesPct6UCL",
    "UResponsesPct6SE",
    "ResponsesCountPct0",
    "ResponsesCountPct0LCL",
    "ResponsesCountPct0UCL",
    "ResponsesCountPct0SE",
    "UResponsesCountPct0",
    "UResponsesCountPct0LCL",
    "UResponsesCountPct0UCL",
    "UResponsesCountPct0SE",
    "ResponsesCountPct1",
    "ResponsesCountPct1LCL",
    "ResponsesCountPct1UCL",
    "ResponsesCountPct1SE",
    "UResponsesCountPct1",
    "UResponsesCountPct1LCL",
    "UResponsesCountPct1UCL",
    "UResponsesCountPct1SE",
    "ResponsesCountPct2",
    "ResponsesCountPct2LCL",
    "ResponsesCountPct2UCL",
    "ResponsesCountPct2SE",
    "UResponsesCountPct2",
    "UResponsesCountPct2LCL",
    "UResponsesCountPct2UCL",
    "UResponsesCountPct2SE",
    "ResponsesCountPct3",
    "ResponsesCountPct3LCL",
    "ResponsesCountPct3UCL",
    "ResponsesCountPct3SE",
    "UResponsesCountPct3",
    "UResponsesCountPct3LCL",
    "UResponsesCountPct3UCL",
    "UResponsesCountPct3SE",
    "ResponsesCountPct4",
    "ResponsesCountPct4LCL",
    "ResponsesCountPct4UCL",
    "ResponsesCountPct4SE",
    "UResponsesCountPct4",
    "UResponsesCountPct4LCL",
    "UResponsesCountPct4UCL",
    "UResponsesCountPct4SE",
    "ResponsesCountPct5",
    "ResponsesCountPct5LCL",
    "ResponsesCountPct5UCL",
    "ResponsesCountPct5SE",
    "UResponsesCountPct5",
    "UResponsesCountPct5LCL",
    "UResponsesCountPct5UCL",
    "UResponsesCountPct5SE",
    "ResponsesCountPct6",
    "ResponsesCountPct6LCL",
    "ResponsesCountPct6UCL",
    "ResponsesCountPct6SE",
    "UResponsesCountPct6",
    "UResponsesCountPct6LCL",
    "UResponsesCountPct6UCL",
    "UResponsesCountPct6SE",
    "CountResponsesPct0",
    "CountResponsesPct0LCL",
    "CountResponsesPct0UCL",
    "CountResponsesPct0SE",
    "UCountResponsesPct0",
    "UCountResponsesPct0LCL",
    "UCountResponsesPct0UCL",
    "UCountResponsesPct0SE",
    "CountResponsesPct1",
    "CountResponsesPct1LCL",
    "CountResponsesPct1UCL",
    "CountResponsesPct1SE",
    "UCountResponsesPct1",
    "UCountResponsesPct1LCL",
    "UCountResponsesPct1UCL",
    "UCountResponsesPct1SE",
    "CountResponsesPct2",
    "CountResponsesPct2LCL",
    "CountResponsesPct2UCL",
    "CountResponsesPct2SE",
    "UCountResponsesPct2",
    "UCountResponsesPct2LCL",
    "UCountResponsesPct2UCL",
    "UCountResponsesPct2SE",
    "CountResponsesPct3",
    "CountResponsesPct3LCL",
    "CountResponsesPct3UCL",
    "CountResponsesPct3SE",
    "UCountResponsesPct3",
    "UCountResponsesPct3LCL",
    "UCountResponsesPct3UCL",
    "UCountResponsesPct3SE",
    "CountResponsesPct4",
    "CountResponsesPct4LCL",
    "CountResponsesPct4UCL",
    "CountResponsesPct4SE",
    "UCountResponsesPct4",
    "UCountResponsesPct4LCL",
    "UCountResponsesPct4UCL",
    "UCountResponsesPct4SE",
    "CountResponsesPct5",
    "CountResponsesPct5LCL",
    "CountResponsesPct5UCL",
    "CountResponsesPct5SE",
    "UCountResponsesPct5",
    "UCountResponsesPct5LCL",
    "UCountResponsesPct5UCL",
    "UCountResponsesPct5SE",
    "CountResponsesPct6",
    "CountResponsesPct6LCL",
    "CountResponsesPct6UCL",
    "CountResponsesPct6SE",
    "UCountResponsesPct6",
    "UCountResponsesPct6LCL",
    "UCountResponsesPct6UCL",
    "UCountResponsesPct6SE",
    "SumSqDeviation",
    "MedianCI",
    "UMedianCI",
    "Ptile",
    "PtileLCL",
    "PtileUCL",
    "PtileSE",
    "UPtile",
    "UPtileLCL",
    "UPtileUCL",
    "UPtileSE",
    "GroupedPtile",
    "UGroupedPtile",
    "PctLT",
    "UPctLT",
    "CountLT",
    "UCountLT",
    "PctLE",
    "UPctLE",
    "CountLE",
    "UCountLE",
    "PctGT",
    "UPctGT",
    "CountGT",
    "UCountGT",
    "PctGE",
    "UPctGE",
    "CountGE",
    "UCountGE",
    "PctEQ",
    "UPctEQ",
    "CountEQ",
    "UCountEQ",
    "PctGELE",
    "UPctGELE",
    "CountGELE",
    "UCountGELE",
    "PctGELT",
    "UPctGELT",
    "CountGELT",
    "UCountGELT",
    "PctGTLE",
    "UPctGTLE",
    "CountGTLE",
    "UCountGTLE",
    "PctGTLT",
    "UPctGTLT",
    "CountGTLT",
    "UCountGTLT",
};

}  // namespace

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
    int const c = static_cast<int>(code);
    if (c >= 0 && c < 476 && kGroupTable[c].known) {
        primary = static_cast<StatisticCodes>(kGroupTable[c].primary);
        conf = kGroupTable[c].conf;
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
    if (code < 0 || code > TableEncryptionCodes::kLastStatisticCode) return std::string();
    return kStatisticNames[code];
}

int AggregationStatistic::GetStatisticCode(std::string const& name)
{
    static const std::unordered_map<std::string, int> byName = [] {
        std::unordered_map<std::string, int> m;
        for (int c = 0; c <= TableEncryptionCodes::kLastStatisticCode; ++c) m.emplace(kStatisticNames[c], c);
        return m;
    }();
    std::string key = name;
    if (key.size() > 1 && key[0] == 'k' && key[1] >= 'A' && key[1] <= 'Z') key.erase(0, 1);
    auto it = byName.find(key);
    return it == byName.end() ? -1 : it->second;
}
