// Umbrella header: every public header of the library (the host platform
// headers come with them).
#ifndef KVAGGR_KVAGGR_H
#define KVAGGR_KVAGGR_H

#include "AggregationCategory.h"
#include "AggregationCube.h"
#include "AggregationMCSet.h"
#include "AggregationMDSet.h"
#include "AggregationMRSet.h"
#include "AggregationResult.h"
#include "AggregationStatistic.h"
#include "AggregationTable.h"
#include "AggregationVariable.h"
#include "CategoryManager.h"
#include "CellKey.h"
#include "CellStatistics.h"
#include "CellValues.h"
#include "CubeAggregator.h"
#include "CubeMetadata.h"
#include "CubeStatistics.h"
#include "HashtablePair.h"
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
