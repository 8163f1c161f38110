// Umbrella header: every public header of the library, and the host
// platform interfaces it calls.
#ifndef KVAGGR_KVAGGR_H
#define KVAGGR_KVAGGR_H

#include "AggregationCategory.h"
#include "AggregationMCSet.h"
#include "AggregationMDSet.h"
#include "AggregationMRSet.h"
#include "AggregationResult.h"
#include "AggregationStatistic.h"
#include "AggregationVariable.h"
#include "CategoryManager.h"
#include "CellStatistics.h"
#include "CellValues.h"
#include "CubeStatistics.h"
#include "KvAggrCaseValueReader.h"
#include "KvAssert.h"
#include "KvaDistFun.h"
#include "ParsedCategory.h"
#include "StatValues.h"
#include "TableCVariable.h"
#include "TableDimension.h"
#include "TableEncryptionCodes.h"
#include "TableMCSet.h"
#include "TableMDSet.h"
#include "TableMetadata.h"

#endif
