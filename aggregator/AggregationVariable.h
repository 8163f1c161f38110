// The host's description of one variable of a table request: its name and
// label, its category list, how its categories are ordered, whether missing
// and empty categories show, and its total.
#ifndef KVAGGR_AGGREGATIONVARIABLE_H
#define KVAGGR_AGGREGATIONVARIABLE_H

#include <string>
#include <vector>

#include "TableEncryptionCodes.h"

class ParsedCategory;
class TableDimension;
struct AggregationVariableRecord;

class AggregationVariable {
public:
    AggregationVariable();
    AggregationVariable(int index, const std::string& nameToken);
    // Deep copy of the record; the parsed categories and the dimension are
    // shared with the source, not duplicated.
    AggregationVariable(const AggregationVariable& other);
    AggregationVariable& operator=(const AggregationVariable& other);
    virtual ~AggregationVariable();

    virtual int GetIndex() const;
    virtual void SetIndex(int index);
    virtual const std::string& GetNameToken() const;
    virtual void SetNameToken(const std::string& nameToken);
    virtual const std::string& GetLabel() const;
    virtual void SetLabel(const std::string& label);
    virtual TableDimension* GetTableDimension() const;
    virtual void SetTableDimension(TableDimension* dimension);
    virtual const std::vector<ParsedCategory*>& GetParsedCategories() const;
    // Copies the pointers: a later change to the host's vector does not reach
    // the variable.
    virtual void SetParsedCategories(const std::vector<ParsedCategory*>& categories);
    virtual bool GetIsOrderA() const;
    virtual void SetIsOrderA(bool isOrderA);
    virtual bool GetIsMissingExclude() const;
    virtual void SetIsMissingExclude(bool isMissingExclude);
    virtual bool GetIsTotalPositionAfter() const;
    virtual void SetIsTotalPositionAfter(bool isAfter);
    virtual bool GetIsEmptyInclude() const;
    virtual void SetIsEmptyInclude(bool isEmptyInclude);
    virtual std::string GetTotalLabel() const;
    virtual void SetTotalLabel(const std::string& label);
    virtual bool GetIsTotalLabelDefault() const;
    virtual void SetIsTotalLabelDefault(bool isDefault);
    virtual TableEncryptionCodes::SortKey GetSortKey() const;
    // Meaningful only after SetSortInfo; read for the statistic sort key only.
    virtual TableEncryptionCodes::StatisticCodes GetSortStatistic() const;
    virtual int GetSortVariableIndex() const;
    // Sets the statistic and its variable together; the sort key is untouched.
    virtual void SetSortInfo(TableEncryptionCodes::StatisticCodes statistic, int variableIndex);
    virtual void SetSortKey(TableEncryptionCodes::SortKey sortKey);

    bool GetIsTotalNo() const;
    void SetIsTotalNo(bool isTotalNo);

private:
    AggregationVariableRecord* _record;  // owned
};

#endif
