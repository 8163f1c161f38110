// Umbrella header: every public header of the library and of the host
// platform it calls.
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
#include "KvAggrCaseValueReader.h"
#include "KvAssert.h"
#include "KvaDistFun.h"
#include "ParsedCategory.h"
#include "TableCVariable.h"
#include "TableDimension.h"
#include "TableMCSet.h"
#include "TableMDSet.h"
#include "TableMetadata.h"
#include "TableEncryptionCodes.h"

#endif
