// The value of one statistic as it travels to the host: the result itself and
// up to two further numbers (confidence limits, the upper mode, a count),
// each system-missing until set.
#ifndef KVAGGR_AGGREGATIONRESULT_H
#define KVAGGR_AGGREGATIONRESULT_H

class AggregationResult {
public:
    AggregationResult();
    AggregationResult(double value1);
    AggregationResult(AggregationResult const& other);
    ~AggregationResult();

    AggregationResult& operator=(AggregationResult const& other);
    // Sets the first value only; the other two keep what they held.
    AggregationResult& operator=(double value1);
    operator double() const;

    void SetValue1(double value);
    void SetValue2(double value);
    void SetValue3(double value);
    double GetValue1() const;
    double GetValue2() const;
    double GetValue3() const;

    // The system-missing value: the most negative finite double.
    static double SystemMissing();

private:
    double* _values;  // owned block of three doubles
};

#endif
