// The CSV and dictionary loaders: RFC 4180 details, numbers, type inference,
// and a clear one-line error for every kind of bad input.
#include <gtest/gtest.h>

#include <cfloat>
#include <charconv>
#include <cstdio>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "CsvLoader.h"
#include "TestSupport.h"

namespace {

// Writes `text` to a fresh file in the test temp directory; returns its path.
std::string WriteFile(const std::string& name, const std::string& text)
{
    std::string path = kvtest::ProcessTempDir() + name;
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

std::string Text(const InMemoryDataset& ds, int row, int var)
{
    int width = ds.GetVariable(var)->GetType();
    std::string s(ds.GetValue(row, var)->str, static_cast<size_t>(width));
    s.erase(s.find_last_not_of(' ') + 1);
    return s;
}

double Num(const InMemoryDataset& ds, int row, int var) { return ds.GetValue(row, var)->num; }

// The HostError message of loading `csv` (with an optional dictionary text).
std::string LoadError(const std::string& csv, const std::string& dict = "", CsvOptions options = {})
{
    std::string csvPath = WriteFile("err.csv", csv);
    try {
        if (dict.empty()) LoadCsv(csvPath, std::nullopt, options);
        else LoadCsv(csvPath, WriteFile("err.dict.json", dict), options);
    } catch (const HostError& e) {
        std::string m = e.what();
        EXPECT_EQ(m.find('\n'), std::string::npos) << m;  // one line
        // Drop the directory so that expectations read like what users see.
        size_t at = m.find("err.");
        return at == std::string::npos ? m : m.substr(at);
    }
    return "no error";
}

TEST(HostCsv, QuotedFieldsHoldDelimitersQuotesAndLineBreaks)
{
    // Lines: 1 header, 2-3 one record with a line break in a quoted field,
    // 4 an empty line (skipped), 5 a CRLF record, 6 no final line break.
    std::string path = WriteFile("quoted.csv",
                                 "\xEF\xBB\xBFname,comment,n\n"
                                 "\"Smith, J\",\"said \"\"hi\"\"\nthen left\",1\n"
                                 "\n"
                                 "plain,,2\r\n"
                                 "\"\",\"\",");
    auto ds = LoadCsv(path);
    ASSERT_EQ(ds->GetNumVariables(), 3);
    EXPECT_STREQ(ds->GetVariable(0)->GetName(), "name");  // BOM skipped
    ASSERT_EQ(ds->GetNumCases(), 3);
    EXPECT_EQ(Text(*ds, 0, 0), "Smith, J");
    EXPECT_EQ(Text(*ds, 0, 1), "said \"hi\"\nthen left");
    EXPECT_EQ(ds->GetVariable(1)->GetType(), 19);  // widest value in bytes
    EXPECT_EQ(Text(*ds, 1, 0), "plain");
    EXPECT_EQ(Text(*ds, 1, 1), "");
    EXPECT_EQ(Num(*ds, 1, 2), 2.0);                // CR stripped before parsing
    EXPECT_EQ(Num(*ds, 2, 2), -DBL_MAX);           // empty numeric field
    EXPECT_EQ(ds->GetVariable(2)->GetType(), 0);
}

TEST(HostCsv, ChosenDelimiterAndBlanksAroundNumbers)
{
    CsvOptions semicolon;
    semicolon.delimiter = ';';
    auto ds = LoadCsv(WriteFile("semi.csv", " a ;b;c\n 7 ;x,y;\t-2.5\n1e3;\"q;r\";+.5\n"), std::nullopt, semicolon);
    EXPECT_STREQ(ds->GetVariable(0)->GetName(), "a");  // header names trimmed
    EXPECT_EQ(Num(*ds, 0, 0), 7.0);
    EXPECT_EQ(Num(*ds, 1, 0), 1000.0);
    EXPECT_EQ(Text(*ds, 0, 1), "x,y");
    EXPECT_EQ(Text(*ds, 1, 1), "q;r");
    EXPECT_EQ(Num(*ds, 0, 2), -2.5);
    EXPECT_EQ(Num(*ds, 1, 2), 0.5);
    // Inferred format: decimals as written (up to 6), at least F8.
    EXPECT_EQ(ds->GetVariable(2)->GetFormat().decimals, 1);
    EXPECT_EQ(ds->GetVariable(0)->GetFormat().decimals, 0);
    EXPECT_EQ(ds->GetVariable(0)->GetFormat().width, 8);
}

TEST(HostCsv, NumberSyntax)
{
    double v = 0;
    struct Case {
        const char* text;
        double value;
    } good[] = {{"3", 3}, {"-2.5", -2.5}, {"1e3", 1000}, {" 7 ", 7}, {"+.5", 0.5}, {"5.", 5}, {"-0", -0.0},
                {"1E-2", 0.01}, {"\t12\t", 12}, {"1e-400", 0.0}, {"00012", 12}};
    for (const Case& c : good) {
        EXPECT_TRUE(ParseCsvNumber(c.text, v)) << c.text;
        EXPECT_EQ(v, c.value) << c.text;
    }
    for (const char* bad : {"", "  ", "nan", "NaN", "inf", "-inf", "Infinity", "0x10", "1,5", "1e400", "--1", "+",
                            ".", "1 2", "1e", "e5", "12abc", "\xC2\xA0" "1"})
        EXPECT_FALSE(ParseCsvNumber(bad, v)) << bad;
}

// Short plain decimals take a quicker path than the general conversion; both
// must give the same double for every text, including those just past the
// quicker path's limits (2^53 as digits, 19 digits, 22 places).
TEST(HostCsv, ShortDecimalsConvertExactlyAsTheGeneralConversion)
{
    std::vector<std::string> texts = {"9007199254740992", "9007199254740993", "9007199254740993.5",
                                      "1234567890123456789", "12345678901234567890", "0.1", "0.30000000000000004",
                                      "0.0000000000000000000001", "0.00000000000000000000001", "123456.7890123456789",
                                      "4.35", "1e22", "0.7884", "16670.89", "5.", ".5", "000000000000000000001"};
    std::mt19937_64 rng(5);
    for (int i = 0; i < 20000; ++i) {
        std::string t = std::to_string(rng() % 100000000000ULL);
        const size_t point = rng() % (t.size() + 1);
        if (point < t.size()) t.insert(point, ".");
        texts.push_back(t);
    }
    for (const std::string& t : texts) {
        double want = 0;
        std::from_chars(t.data(), t.data() + t.size(), want);
        double got = -1;
        ASSERT_TRUE(ParseCsvNumber(t, got)) << t;
        ASSERT_EQ(got, want) << t;
        ASSERT_TRUE(ParseCsvNumber("-" + t, got)) << t;
        ASSERT_EQ(got, -want) << t;
    }
}

// Files of some megabytes are mapped rather than read through a buffer: the
// same records, line numbers and errors either way.
TEST(HostCsv, LargeMappedFileReadsAsASmallOne)
{
    const int rows = 250000;  // about 6 MB
    std::string text = "\xEF\xBB\xBFid,name,x\r\n";
    for (int i = 0; i < rows; ++i)
        text += std::to_string(i) + ",\"n\"\"" + std::to_string(i % 7) + "\nz\"," + std::to_string(i) + ".5\r\n";
    ASSERT_GE(text.size(), size_t{4} << 20);
    auto ds = LoadCsv(WriteFile("big.csv", text + "last,\"a,b\",7"));  // no line break at the end
    ASSERT_EQ(ds->GetNumCases(), rows + 1);
    EXPECT_STREQ(ds->GetVariable(0)->GetName(), "id");
    EXPECT_EQ(Text(*ds, 12345, 1), "n\"4\nz");
    EXPECT_EQ(Num(*ds, rows - 1, 2), rows - 1 + 0.5);
    EXPECT_EQ(Text(*ds, rows, 0), "last");
    EXPECT_EQ(Text(*ds, rows, 1), "a,b");
    // Each record spans two lines; the header is line 1.
    EXPECT_EQ(LoadError(text + "1,2\n"), "err.csv:" + std::to_string(2 * rows + 2) + ": expected 3 fields, found 2");
}

TEST(HostCsv, InferenceOfTypesAndWidths)
{
    // "Zürich" is 7 bytes; "  " and "" are blank; "x   " counts as 1 byte.
    auto ds = LoadCsv(WriteFile("infer.csv",
                                "num,txt,blank,mixed,pad\n"
                                "1,Zürich,,1,x   \n"
                                "2.25,ab,  ,two,y\n"
                                ",,,3,\n"));
    EXPECT_EQ(ds->GetVariable(0)->GetType(), 0);
    EXPECT_EQ(ds->GetVariable(1)->GetType(), 7);
    EXPECT_EQ(ds->GetVariable(2)->GetType(), 0);  // no values at all: numeric
    EXPECT_EQ(ds->GetVariable(3)->GetType(), 3);  // "two" makes it a string
    EXPECT_EQ(ds->GetVariable(4)->GetType(), 1);
    EXPECT_EQ(Num(*ds, 2, 2), -DBL_MAX);
    EXPECT_EQ(Text(*ds, 0, 3), "1");
    EXPECT_EQ(ds->GetVariable(1)->GetFormat().type, 'A');
    EXPECT_EQ(ds->GetVariable(1)->GetFormat().width, 7);
    // Header only: zero cases, every column numeric.
    auto empty = LoadCsv(WriteFile("header.csv", "a,b\n"));
    EXPECT_EQ(empty->GetNumCases(), 0);
    EXPECT_EQ(empty->GetNumVariables(), 2);
}

TEST(HostCsv, DictionaryDescribesColumnsInAnyOrder)
{
    std::string dict = R"({"variables": [
        {"name": "city", "type": "string", "width": 12, "label": "City",
         "valueLabels": [{"value": "LDN", "label": "London"}], "missing": {"values": ["XX"]}},
        {"name": "region", "type": "numeric", "label": "Region",
         "format": {"type": "F", "width": 8, "decimals": 0},
         "valueLabels": [{"value": 1, "label": "North"}, {"value": 2, "label": "South"}],
         "missing": {"values": [9], "range": [97, 99]}}]})";
    auto ds = LoadCsv(WriteFile("d.csv", "region,city,extra\n1,LDN,a\n98,XX,b\n"), WriteFile("d.dict.json", dict));
    const VESK_Variable& region = *ds->GetVariable(0);
    const VESK_Variable& city = *ds->GetVariable(1);
    EXPECT_STREQ(region.GetLabel(), "Region");
    EXPECT_EQ(region.GetFormat().decimals, 0);
    EXPECT_EQ(region.GetValueLabels().Size(), 2);
    EXPECT_TRUE(region.HasMissingRange());
    EXPECT_EQ(region.GetMissingValues(), std::vector<double>{9});
    EXPECT_NE(region.IsMissing(ds->GetValue(1, 0)), 0);  // 98 in [97, 99]
    EXPECT_EQ(city.GetType(), 12);
    EXPECT_EQ(city.GetFormat().type, 'A');
    EXPECT_NE(city.IsMissing(ds->GetValue(1, 1)), 0);
    VESK_ValueLabelMap labels(city.GetValueLabels());
    EXPECT_STREQ(labels.GetLabel(ds->GetValue(0, 1)), "London");  // padded case value
    EXPECT_EQ(ds->GetVariable(2)->GetType(), 1);  // undescribed: inferred
}

TEST(HostCsvErrors, MalformedCsvNamesFileAndLine)
{
    EXPECT_EQ(LoadError("a,b,c,d,e,f\n1,2,3,4,5,6\n1,2,3,4,5\n"), "err.csv:3: expected 6 fields, found 5");
    EXPECT_EQ(LoadError("a,b\n1,2\n3,4,5\n"), "err.csv:3: expected 2 fields, found 3");
    // The line counts the line break inside the quoted field of line 2.
    EXPECT_EQ(LoadError("a,b\n\"x\ny\",1\n2\n"), "err.csv:4: expected 2 fields, found 1");
    EXPECT_EQ(LoadError("a,b\n1,2\n\"open,3\n4,5\n"),
              "err.csv:3: field 1: a quoted field is not closed before the end of the file");
    EXPECT_EQ(LoadError("a,b\n1,ab\"c\n"),
              "err.csv:2: field 2: a quote inside an unquoted field (quote the whole field and double the quotes in it)");
    EXPECT_EQ(LoadError("a,b\n1,\"ab\"c\n"), "err.csv:2: field 2: text after the closing quote");
    EXPECT_EQ(LoadError(""), "err.csv: the file is empty (no header row)");
    EXPECT_EQ(LoadError("a,,c\n"), "err.csv:1: column 2 has no name");
    EXPECT_EQ(LoadError("a,b, a\n"), "err.csv:1: duplicate column name \"a\" (columns 1 and 3)");
    EXPECT_EQ(LoadError("a\n1\n", "", CsvOptions{'"'}), "err.csv: the delimiter cannot be a quote, a line break or NUL");
}

TEST(HostCsvErrors, ValuesThatBreakTheDictionary)
{
    std::string dict = R"({"variables": [{"name": "n", "type": "numeric"},
                                          {"name": "s", "type": "string", "width": 3}]})";
    EXPECT_EQ(LoadError("n,s\n1,abc\n2,a\nx1,b\n", dict), "err.csv:4: field 1 (n): \"x1\" is not a number");
    EXPECT_EQ(LoadError("n,s\n1,abc\nnan,b\n", dict), "err.csv:3: field 1 (n): \"nan\" is not a number");
    EXPECT_EQ(LoadError("n,s\n1,abcd\n", dict), "err.csv:2: field 2 (s): \"abcd\" is 4 bytes, wider than the width 3");
    EXPECT_EQ(LoadError("n,s\n1,\"a\nb\nc\"\n", dict),
              "err.csv:2: field 2 (s): \"a\\nb\\nc\" is 5 bytes, wider than the width 3");
    EXPECT_EQ(LoadError("n,s\n1,abc   \n", dict), "no error");  // trailing blanks are padding
    EXPECT_EQ(LoadError("s\nabc\n", dict), "err.dict.json: /variables/0/name: no column \"n\" in " +
                                               kvtest::ProcessTempDir() + "err.csv");
}

TEST(HostCsvErrors, DictionaryMistakesNameTheJsonPointer)
{
    auto dictError = [](const std::string& variables) {
        return LoadError("a,b,c,d\n1,2,3,4\n", "{\"variables\": [" + variables + "]}");
    };
    const std::string ok = R"({"name": "a", "type": "numeric"}, {"name": "b", "type": "numeric"},
                              {"name": "c", "type": "numeric"}, )";
    EXPECT_EQ(dictError(ok + R"({"name": "d", "type": "string", "width": 40000})"),
              "err.dict.json: /variables/3/width: width 40000 is outside 1 to 32767");
    EXPECT_EQ(dictError(R"({"name": "a", "type": "string", "width": 0})"),
              "err.dict.json: /variables/0/width: width 0 is outside 1 to 32767");
    EXPECT_EQ(dictError(R"({"name": "a", "type": "string"})"),
              "err.dict.json: /variables/0/width: missing (a string variable needs a width of 1 to 32767)");
    EXPECT_EQ(dictError(R"({"name": "a", "type": "integer"})"),
              "err.dict.json: /variables/0/type: unknown type \"integer\" (expected \"numeric\" or \"string\")");
    EXPECT_EQ(dictError(R"({"name": "a", "type": "numeric"}, {"name": "a", "type": "numeric"})"),
              "err.dict.json: /variables/1/name: duplicate name \"a\" (also /variables/0)");
    EXPECT_EQ(dictError(R"({"name": "a", "type": "numeric", "valueLabels": [{"value": 1, "label": "x"},
                                                                            {"value": "2", "label": "y"}]})"),
              "err.dict.json: /variables/0/valueLabels/1/value: expected a number (the variable is numeric), found a "
              "string");
    EXPECT_EQ(dictError(R"({"name": "a", "type": "string", "width": 2, "valueLabels": [{"value": 1, "label": "x"}]})"),
              "err.dict.json: /variables/0/valueLabels/0/value: expected a string (the variable is a string), found a "
              "number");
    EXPECT_EQ(dictError(R"({"name": "a", "type": "string", "width": 2, "valueLabels": [{"value": "abc", "label": "x"}]})"),
              "err.dict.json: /variables/0/valueLabels/0/value: \"abc\" is 3 bytes, wider than the width 2");
    EXPECT_EQ(dictError(R"({"name": "a", "type": "numeric", "valueLabels": [{"value": 1, "label": 2}]})"),
              "err.dict.json: /variables/0/valueLabels/0/label: expected a string, found a number");
    EXPECT_EQ(dictError(R"({"name": "a", "type": "numeric", "missing": {"values": [1, 2], "range": [5, 6]}})"),
              "err.dict.json: /variables/0/missing/values: at most one discrete missing value beside a range");
    EXPECT_EQ(dictError(R"({"name": "a", "type": "numeric", "missing": {"values": [1, 2, 3, 4]}})"),
              "err.dict.json: /variables/0/missing/values: at most three discrete missing values");
    EXPECT_EQ(dictError(R"({"name": "a", "type": "numeric", "missing": {"range": [6, 5]}})"),
              "err.dict.json: /variables/0/missing/range: low 6 is above high 5");
    EXPECT_EQ(dictError(R"({"name": "a", "type": "string", "width": 1, "missing": {"range": [1, 2]}})"),
              "err.dict.json: /variables/0/missing/range: a string variable takes discrete missing values only");
    EXPECT_EQ(dictError(R"({"name": "a", "type": "numeric", "lable": "typo"})"),
              "err.dict.json: /variables/0/lable: unknown key");
    EXPECT_EQ(dictError(R"({"name": "a", "type": "numeric", "format": {"type": "A"}})"),
              "err.dict.json: /variables/0/format/type: the format A is for string variables");
    EXPECT_EQ(dictError(R"({"name": "a", "type": "numeric", "format": {"width": 4, "decimals": 4}})"),
              "err.dict.json: /variables/0/format: decimals 4 do not fit the width 4");
    EXPECT_EQ(dictError(R"({"name": "", "type": "numeric"})"), "err.dict.json: /variables/0/name: the name is empty");
    EXPECT_EQ(dictError(R"(7)"), "err.dict.json: /variables/0: expected an object, found a number");
    EXPECT_EQ(LoadError("a\n1\n", "[1]"),
              "err.dict.json: /: expected an object with a \"variables\" array, found an array");
    // Line 2 is `  {"name": "a",,}`: the second comma is column 16.
    EXPECT_EQ(LoadError("a\n1\n", "{\"variables\": [\n  {\"name\": \"a\",,}\n]}").substr(0, 35),
              "err.dict.json:2:16: invalid JSON: s");
}

}  // namespace
