// The CSV and dictionary loaders: RFC 4180 details, numbers, type inference,
// the delimiter and missing-value options, the streaming reader (its thread,
// batches, rewind and mapped files), and one line of message for every kind
// of bad input (the tables of tests/data/host).
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "CsvLoader.h"
#include "Golden.h"
#include "TestSupport.h"

namespace {

using Json = nlohmann::json;

std::string TextOf(const OBS* value, int width)
{
    std::string s(value->str, static_cast<size_t>(width));
    s.erase(s.find_last_not_of(' ') + 1);
    return s;
}

std::string Text(const InMemoryDataset& ds, int row, int var)
{
    return TextOf(ds.GetValue(row, var), ds.GetVariable(var)->GetType());
}

double Num(const InMemoryDataset& ds, int row, int var) { return ds.GetValue(row, var)->num; }

// The message of loading `csv` (with a dictionary when `dict` is not empty),
// without the temp directory; "" when it loads.
std::string LoadError(const std::string& csv, const std::string& dict = "", const CsvOptions& options = {})
{
    const std::string csvPath = kvtest::WriteTempFile("err.csv", csv);
    try {
        if (dict.empty()) LoadCsv(csvPath, std::nullopt, options);
        else LoadCsv(csvPath, kvtest::WriteTempFile("err.dict.json", dict), options);
    } catch (const HostError& e) {
        std::string m = e.what();
        EXPECT_EQ(m.find('\n'), std::string::npos) << m;
        for (size_t at; (at = m.find(kvtest::ProcessTempDir())) != std::string::npos;)
            m.erase(at, kvtest::ProcessTempDir().size());
        return m;
    }
    return "";
}

std::vector<Json> DataCases(const std::string& file)
{
    return Json::parse(kvtest::ReadText(std::string(KV_SOURCE_DIR) + "/tests/data/host/" + file))["cases"];
}

TEST(HostCsv, QuotedFieldsHoldDelimitersQuotesAndLineBreaks)
{
    // Lines: 1 header, 2-3 one record with a line break in a quoted field,
    // 4 an empty line (skipped), 5 a CRLF record, 6 no final line break.
    auto ds = LoadCsv(kvtest::WriteTempFile("quoted.csv", "\xEF\xBB\xBFname,comment,n\n"
                                                          "\"Smith, J\",\"said \"\"hi\"\"\nthen left\",1\n"
                                                          "\n"
                                                          "plain,,2\r\n"
                                                          "\"\",\"\","));
    ASSERT_EQ(ds->GetNumVariables(), 3);
    EXPECT_STREQ(ds->GetVariable(0)->GetName(), "name");  // BOM skipped
    ASSERT_EQ(ds->GetNumCases(), 3);
    EXPECT_EQ(Text(*ds, 0, 0), "Smith, J");
    EXPECT_EQ(Text(*ds, 0, 1), "said \"hi\"\nthen left");
    EXPECT_EQ(ds->GetVariable(1)->GetType(), 19);  // widest value in bytes
    EXPECT_EQ(Text(*ds, 1, 0), "plain");
    EXPECT_EQ(Text(*ds, 1, 1), "");
    EXPECT_EQ(Num(*ds, 1, 2), 2.0);       // CR stripped before parsing
    EXPECT_EQ(Num(*ds, 2, 2), -DBL_MAX);  // empty numeric field

    // Files written on Windows: a CRLF blank line is skipped, a CRLF inside
    // quotes is kept, and a bare CR ends the last record.
    ds = LoadCsv(kvtest::WriteTempFile("crlf.csv", "a,b\r\n\r\n\"x\r\ny\",1\r\nz,2\r"));
    ASSERT_EQ(ds->GetNumCases(), 2);
    EXPECT_EQ(Text(*ds, 0, 0), "x\r\ny");
    EXPECT_EQ(Text(*ds, 1, 0), "z");
    EXPECT_EQ(Num(*ds, 1, 1), 2.0);
}

TEST(HostCsv, DelimiterAndMissingValueTexts)
{
    // With ";" and "NA": column a and d are numbers with NA among them (d
    // starts with NA), b is text (its NA stays text), c numbers with blanks.
    const CsvOptions options{';', {"NA"}};
    auto ds = LoadCsv(kvtest::WriteTempFile("semi.csv", " a ;b;c;d\n 7 ;x,y;\t-2.5;NA\n1e3;\"q;r\";+.5; NA \n"
                                                        "NA;NA;;1\n"),
                      std::nullopt, options);
    EXPECT_STREQ(ds->GetVariable(0)->GetName(), "a");  // header names trimmed
    EXPECT_EQ(Num(*ds, 0, 0), 7.0);
    EXPECT_EQ(Num(*ds, 1, 0), 1000.0);
    EXPECT_EQ(Num(*ds, 2, 0), -DBL_MAX);
    EXPECT_EQ(Text(*ds, 0, 1), "x,y");
    EXPECT_EQ(Text(*ds, 1, 1), "q;r");
    EXPECT_EQ(Text(*ds, 2, 1), "NA");
    EXPECT_EQ(Num(*ds, 0, 2), -2.5);
    EXPECT_EQ(Num(*ds, 1, 2), 0.5);
    EXPECT_EQ(ds->GetVariable(3)->GetType(), 0);
    EXPECT_EQ(Num(*ds, 1, 3), -DBL_MAX);
    EXPECT_EQ(Num(*ds, 2, 3), 1.0);
    // Inferred format: decimals as written (up to 6), at least F8.
    EXPECT_EQ(ds->GetVariable(2)->GetFormat().decimals, 1);
    EXPECT_EQ(ds->GetVariable(0)->GetFormat().decimals, 0);
    EXPECT_EQ(ds->GetVariable(0)->GetFormat().width, 8);
}

TEST(HostCsv, NumberSyntax)
{
    double v = 0;
    const std::pair<const char*, double> good[] = {{"3", 3},       {"-2.5", -2.5},   {"1e3", 1000}, {" 7 ", 7},
                                                   {"+.5", 0.5},   {"5.", 5},        {"-0", -0.0},  {"1E-2", 0.01},
                                                   {"\t12\t", 12}, {"1e-400", 0.0}, {"00012", 12}};
    for (const auto& [text, value] : good) {
        EXPECT_TRUE(ParseCsvNumber(text, v)) << text;
        EXPECT_EQ(v, value) << text;
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
        double want = 0, got = -1;
        std::from_chars(t.data(), t.data() + t.size(), want);
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
    auto ds = LoadCsv(kvtest::WriteTempFile("big.csv", text + "last,\"a,b\",7"));  // no line break at the end
    ASSERT_EQ(ds->GetNumCases(), rows + 1);
    EXPECT_STREQ(ds->GetVariable(0)->GetName(), "id");
    EXPECT_EQ(Text(*ds, 12345, 1), "n\"4\nz");
    EXPECT_EQ(Num(*ds, rows - 1, 2), rows - 1 + 0.5);
    EXPECT_EQ(Text(*ds, rows, 1), "a,b");
    // Each record spans two lines; the header is line 1.
    EXPECT_EQ(LoadError(text + "1,2\n"), "err.csv:" + std::to_string(2 * rows + 2) + ": expected 3 fields, found 2");
}

// A mapped file cut short by another program while it is read: an error
// naming the file, not a bus error, on the reading thread as on this one.
TEST(HostCsv, MappedFileThatShrinksIsAnError)
{
    std::string text = "id,x\n";
    while (text.size() < (size_t{6} << 20)) text += std::to_string(text.size()) + ",1.5\n";
    for (bool streamed : {false, true}) {
        const std::string path = kvtest::WriteTempFile("shrinking.csv", text);
        std::string message;
        try {
            if (streamed) {
                CsvCaseIterator cases(path, nullptr, CsvColumns::Indices({0, 1}));
                for (int i = 0; cases.Next(); ++i)
                    if (i == 1000) std::filesystem::resize_file(path, 4096 * 3 + 100);
            } else {
                CsvRecordReader reader(path, CsvOptions());
                for (int i = 0; reader.Next(); ++i)
                    if (i == 1000) std::filesystem::resize_file(path, 4096 * 300 + 100);
            }
        } catch (const HostError& e) {
            message = e.what();
        }
        EXPECT_EQ(message, path + ": the file shrank while it was being read (was it changed by another program?)")
            << (streamed ? "streamed" : "read here");
    }
}

TEST(HostCsv, InferenceOfTypesAndWidths)
{
    // "Zürich" is 7 bytes; "  " and "" are blank; "x   " counts as 1 byte.
    auto ds = LoadCsv(kvtest::WriteTempFile("infer.csv", "num,txt,blank,mixed,pad\n"
                                                         "1,Zürich,,1,x   \n"
                                                         "2.25,ab,  ,two,y\n"
                                                         ",,,3,\n"));
    const int types[] = {0, 7, 0, 3, 1};  // no values at all: numeric; "two" makes a string
    for (int v = 0; v < 5; ++v) EXPECT_EQ(ds->GetVariable(v)->GetType(), types[v]) << v;
    EXPECT_EQ(Num(*ds, 2, 2), -DBL_MAX);
    EXPECT_EQ(Text(*ds, 0, 3), "1");
    EXPECT_EQ(ds->GetVariable(1)->GetFormat().type, 'A');
    EXPECT_EQ(ds->GetVariable(1)->GetFormat().width, 7);
    auto empty = LoadCsv(kvtest::WriteTempFile("header.csv", "a,b\n"));
    EXPECT_EQ(empty->GetNumCases(), 0);
    EXPECT_EQ(empty->GetNumVariables(), 2);
}

TEST(HostCsv, DictionaryDescribesColumnsInAnyOrder)
{
    const std::string dict = R"({"variables": [
        {"name": "city", "type": "string", "width": 12, "label": "City",
         "valueLabels": [{"value": "LDN", "label": "London"}], "missing": {"values": ["XX"]}},
        {"name": "region", "type": "numeric", "label": "Region", "format": {"type": "F", "width": 8, "decimals": 0},
         "valueLabels": [{"value": 1, "label": "North"}, {"value": 2, "label": "South"}],
         "missing": {"values": [9], "range": [97, 99]}}]})";
    auto ds = LoadCsv(kvtest::WriteTempFile("d.csv", "region,city,extra\n1,LDN,a\n98,XX,b\n"),
                      kvtest::WriteTempFile("d.dict.json", dict));
    const VESK_Variable& region = *ds->GetVariable(0);
    const VESK_Variable& city = *ds->GetVariable(1);
    EXPECT_STREQ(region.GetLabel(), "Region");
    EXPECT_EQ(region.GetFormat().decimals, 0);
    EXPECT_EQ(region.GetValueLabels().Size(), 2);
    EXPECT_EQ(region.GetMissingValues(), std::vector<double>{9});
    EXPECT_NE(region.IsMissing(ds->GetValue(1, 0)), 0);  // 98 in [97, 99]
    EXPECT_EQ(city.GetType(), 12);
    EXPECT_EQ(city.GetFormat().type, 'A');
    EXPECT_NE(city.IsMissing(ds->GetValue(1, 1)), 0);
    EXPECT_STREQ(VESK_ValueLabelMap(city.GetValueLabels()).GetLabel(ds->GetValue(0, 1)), "London");  // padded value
    EXPECT_EQ(ds->GetVariable(2)->GetType(), 1);  // undescribed: inferred
}

TEST(HostCsvErrors, EveryBadFileHasItsMessage)
{
    for (const Json& c : DataCases("csv_errors.json")) {
        CsvOptions options;
        if (c.contains("delimiter")) options.delimiter = c["delimiter"].get<std::string>()[0];
        if (c.contains("na")) options.na = c["na"].get<std::vector<std::string>>();
        EXPECT_EQ(LoadError(c["csv"], c.contains("dictionary") ? c["dictionary"].dump() : "", options), c["message"])
            << c["csv"];
    }
}

TEST(HostCsvErrors, EveryDictionaryMistakeHasItsMessage)
{
    for (const Json& c : DataCases("dictionary_messages.json")) {
        std::string message;
        try {
            ParseDictionary(c["text"], "d.json");
        } catch (const HostError& e) {
            message = e.what();
        }
        EXPECT_EQ(message, c["message"]) << c["text"];
    }
}

// A generated file whose values are known: id, a number with blanks, a text
// that needs quoting now and then (delimiters, quotes, line breaks), a code.
// 6000 rows cross several batches, and the long texts push the file past the
// reader's 1 MiB buffer so that records straddle refills.
struct Generated {
    std::string csv;
    std::vector<double> x;
    std::vector<std::string> text;
};

Generated Generate(int rows, unsigned seed)
{
    std::mt19937 rng(seed);
    Generated g;
    g.csv = "id,x,text,code\r\n";
    for (int i = 0; i < rows; ++i) {
        double x = (rng() % 7 == 0) ? -DBL_MAX : static_cast<double>(static_cast<int>(rng() % 20001) - 10000) / 4.0;
        std::string t(rng() % 300, 'a' + static_cast<char>(i % 26));
        const char* tails[] = {", with comma", " \"quoted\"", "\nsecond line", ""};
        t += tails[rng() % 4];
        g.x.push_back(x);
        g.text.push_back(t);
        std::string quoted = "\"";
        for (char c : t) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
        char num[64];
        std::snprintf(num, sizeof num, "%.2f", x);
        g.csv += std::to_string(i + 1) + "," + (x == -DBL_MAX ? std::string(" ") : std::string(num)) + "," + quoted +
                 "\"," + std::to_string(i % 5) + "\r\n";
    }
    return g;
}

TEST(HostCsvStream, SameCasesAsTheInMemoryLoaderAndTheGenerator)
{
    Generated g = Generate(6000, 11);
    const std::string path = kvtest::WriteTempFile("gen.csv", g.csv);
    ASSERT_GT(g.csv.size(), size_t{1} << 20);
    auto ds = LoadCsv(path);
    ASSERT_EQ(ds->GetNumCases(), 6000);
    CsvCaseIterator it(path, nullptr, CsvColumns::All());
    const int width = it.GetDataSource().GetVariable(2)->GetType();
    EXPECT_EQ(width, ds->GetVariable(2)->GetType());
    int row = 0;
    long long lastLine = 1;
    while (it.Next()) {
        ASSERT_LT(row, 6000);
        EXPECT_EQ(it.GetValue(0)->num, row + 1);
        EXPECT_EQ(it.GetValue(1)->num, g.x[static_cast<size_t>(row)]) << row;
        EXPECT_EQ(TextOf(it.GetValue(2), width), g.text[static_cast<size_t>(row)]) << row;
        for (int v = 0; v < 4; ++v)
            ASSERT_EQ(std::memcmp(it.GetValue(v), ds->GetValue(row, v), ds->GetVariable(v)->GetWords() * 8u), 0);
        EXPECT_GT(it.GetLine(), lastLine);  // lines grow, by two after a line break
        lastLine = it.GetLine();
        ++row;
    }
    EXPECT_EQ(row, 6000);
    EXPECT_FALSE(it.Next());  // stays at the end
}

TEST(HostCsvStream, OnlyNeededColumnsAreConvertedAndRewindStartsAgain)
{
    // Column b is declared numeric but holds text; it is never asked for, so
    // it is never converted. Column c is undescribed and not inferred.
    const std::string path = kvtest::WriteTempFile("needed.csv", "a,b,c,s,w\n1,oops,zz,keep,2\n2,bad,zz,me,0.5\n");
    DataDictionary d = ParseDictionary(R"({"variables": [{"name": "b", "type": "numeric"},
                                                         {"name": "s", "type": "string", "width": 9}]})", "d.json");
    CsvCaseIterator it(path, &d, CsvColumns::Names({"a"}), CsvOptions{}, 4);
    EXPECT_TRUE(it.IsNeeded(0));
    EXPECT_FALSE(it.IsNeeded(1));
    EXPECT_TRUE(it.IsNeeded(4));  // the weight joins the needed columns
    EXPECT_FALSE(it.IsInferred(2));
    for (int pass = 0; pass < 2; ++pass) {
        std::vector<double> a, w;
        while (it.Next()) {
            a.push_back(it.GetValue(0)->num);
            w.push_back(it.Weight());
            EXPECT_EQ(it.GetValue(1)->num, -DBL_MAX);  // not asked for
            EXPECT_EQ(TextOf(it.GetValue(3), 9), "");  // blanks
        }
        EXPECT_EQ(a, (std::vector<double>{1, 2})) << pass;
        EXPECT_EQ(w, (std::vector<double>{2, 0.5})) << pass;
        EXPECT_TRUE(it.Rewind());
    }
    // Asking for b surfaces its first bad value at line 2.
    CsvCaseIterator bad(path, &d, CsvColumns::Indices({1}));
    try {
        bad.Next();
        FAIL() << "no error";
    } catch (const HostError& e) {
        EXPECT_EQ(std::string(e.what()), path + ":2: field 2 (b): \"oops\" is not a number");
    }
}

TEST(HostCsvStream, ABadRecordSurfacesAfterEveryEarlierCaseAndStaysAnError)
{
    // Record 4000 (line 4001) has a text where the dictionary says numeric.
    std::string csv = "n,s\n";
    for (int i = 1; i <= 5000; ++i) csv += (i == 4000 ? std::string("four") : std::to_string(i)) + ",t\n";
    const std::string path = kvtest::WriteTempFile("late.csv", csv);
    const std::string dictPath =
        kvtest::WriteTempFile("late.dict.json", R"({"variables": [{"name": "n", "type": "numeric"}]})");
    auto it = OpenCsvStream(path, dictPath, CsvColumns::All());
    int delivered = 0;
    std::string message;
    try {
        while (it->Next()) ++delivered;
    } catch (const HostError& e) {
        message = e.what();
    }
    EXPECT_EQ(delivered, 3999);
    EXPECT_EQ(message, path + ":4001: field 1 (n): \"four\" is not a number");
    EXPECT_THROW(it->Next(), HostError);  // never a quiet end after an error
    EXPECT_THROW(it->Next(), HostError);
    EXPECT_TRUE(it->Rewind());
    EXPECT_TRUE(it->Next());
    EXPECT_EQ(it->GetValue(0)->num, 1.0);
}

TEST(HostCsvStream, RewindFailsWhenTheFileIsGoneOrChanged)
{
    const std::string path = kvtest::WriteTempFile("gone.csv", "a\n1\n2\n");
    CsvCaseIterator it(path, nullptr, CsvColumns::All());
    EXPECT_TRUE(it.Next());
    kvtest::WriteTempFile("gone.csv", "b\n1\n");
    EXPECT_FALSE(it.Rewind());
    EXPECT_FALSE(it.Next());
    std::remove(path.c_str());
    EXPECT_FALSE(it.Rewind());
}

}  // namespace

// Types from a prefix: numbers settle over the whole file, parts included, to the formats and values one
// inference over the whole file gives; a column that is text in the prefix is inferred from the whole file;
// text after a prefix of numbers stops the stream at its line with CsvTypeContradicted.
TEST(HostCsvStream, TypesFromAPrefixSettleOrAreContradicted)
{
    // 2,000 records of about 20 bytes; a prefix of 1,000 bytes holds some 50 of them.
    auto file = [](const std::string& late) {
        std::string csv = "a,b,s\n";
        for (int i = 0; i < 2000; ++i)
            csv += std::to_string(i % 7) + "," + std::to_string(i) + (i == 1500 ? late : "") + ",t" +
                   std::to_string(i % 3) + "\n";
        return csv;
    };
    struct Case {
        const char* late;     // appended to b of record 1500
        std::vector<int> need;
        bool contradicted;
    };
    const std::vector<Case> cases = {{".125", {0, 1}, false}, {"000000", {0, 1}, false},
                                     {"x", {0, 1}, true},     {"x", {1, 2}, false}, {"", {0, 1}, false}};
    for (const Case& c : cases) {
        const std::string path = kvtest::WriteTempFile("prefix.csv", file(c.late));
        CsvOptions prefix;
        prefix.inferenceBytes = 1000;
        CsvCaseIterator whole(path, nullptr, CsvColumns(c.need)), fast(path, nullptr, CsvColumns(c.need), prefix);
        const std::string what = std::string("late ") + c.late + (c.need[1] == 2 ? " with s" : "");
        auto read = [](CsvCaseIterator& it) {  // b's first word, a number or text
            std::vector<std::string> b;
            while (it.Next()) b.emplace_back(it.GetValue(1)->str, sizeof(OBS));
            return b;
        };
        if (c.contradicted) {
            try {
                read(fast);
                ADD_FAILURE() << what;
            } catch (const CsvTypeContradicted& e) {
                EXPECT_EQ(std::string(e.what()),
                          path + ":1502: field 2 (b): \"1500x\" is not a number, where the beginning of the file "
                                 "held only numbers");
            }
            continue;
        }
        const std::vector<std::string> want = read(whole);
        EXPECT_EQ(read(fast), want) << what;
        auto parts = CsvCaseIterator(path, nullptr, CsvColumns(c.need), prefix).Split(3);
        std::vector<std::string> got;
        for (auto& part : parts) {
            std::vector<std::string> b = read(*part);
            got.insert(got.end(), b.begin(), b.end());
        }
        EXPECT_EQ(got, want) << what;
        for (int v : c.need) {
            const VESK_Variable* w = whole.GetDataSource().GetVariable(v);
            for (const VESK_DataSource* source : {&fast.GetDataSource(), &parts[0]->GetDataSource()}) {
                const VESK_Variable* f = source->GetVariable(v);
                EXPECT_EQ(f->GetType(), w->GetType()) << what << " " << v;
                EXPECT_EQ(f->GetFormat().width, w->GetFormat().width) << what << " " << v;
                EXPECT_EQ(f->GetFormat().decimals, w->GetFormat().decimals) << what << " " << v;
            }
        }
    }
}

// Records written from known fields read back as those fields, whatever their lengths (a delimiter at every
// offset of the sixteen-byte blocks the common record is cut in), line endings (LF, CRLF), a carriage
// return inside a field, and with quoted records between them; and on the right lines.
TEST(HostCsv, RecordsOfEveryLengthReadBackAsWritten)
{
    std::mt19937 rng(17);
    std::vector<std::vector<std::string>> records;
    std::vector<long long> lines;
    std::string csv;
    long long line = 1;
    for (int r = 0; r < 3000; ++r) {
        std::vector<std::string> fields(1 + rng() % 9);
        const bool quoted = rng() % 7 == 0;
        for (std::string& f : fields) {
            const size_t length = rng() % 3 == 0 ? rng() % 40 : rng() % 4;
            for (size_t i = 0; i < length; ++i) f += "abcxyz0123456789 \r."[rng() % 19];
            if (!f.empty() && f.back() == '\r') f.back() = 'r';  // a CR before the line break ends the line
            if (quoted && rng() % 2) f += ";\n\"";
        }
        std::string text;
        for (size_t i = 0; i < fields.size(); ++i) {
            std::string f = fields[i];
            if (quoted) {
                for (size_t at = 0; (at = f.find('"', at)) != std::string::npos; at += 2) f.insert(at, "\"");
                f = "\"" + f + "\"";
            }
            text += (i ? ";" : "") + f;
        }
        if (fields.size() == 1 && fields[0].empty()) continue;  // an empty line holds no record
        csv += text + (rng() % 2 ? "\r\n" : "\n");
        records.push_back(fields);
        lines.push_back(line);
        for (const std::string& f : fields) line += std::count(f.begin(), f.end(), '\n');
        ++line;
    }
    CsvOptions options;
    options.delimiter = ';';
    CsvRecordReader reader(kvtest::WriteTempFile("lengths.csv", csv), options);
    for (size_t r = 0; r < records.size(); ++r) {
        ASSERT_TRUE(reader.Next()) << r;
        ASSERT_EQ(reader.NumFields(), static_cast<int>(records[r].size())) << r;
        for (size_t i = 0; i < records[r].size(); ++i) EXPECT_EQ(reader.Field(static_cast<int>(i)), records[r][i]) << r;
        EXPECT_EQ(reader.Line(), lines[r]) << r;
    }
    EXPECT_FALSE(reader.Next());
}
