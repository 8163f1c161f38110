// Umbrella header: every public header of the library and of the host
// platform it calls.
#ifndef KVAGGR_KVAGGR_H
#define KVAGGR_KVAGGR_H

#include "AggregationResult.h"
#include "AggregationStatistic.h"
#include "CellStatistics.h"
#include "CellValues.h"
#include "CubeStatistics.h"
#include "KvAggrCaseValueReader.h"
#include "KvAssert.h"
#include "KvaDistFun.h"
#include "StatValues.h"
#include "TableEncryptionCodes.h"

#endif
