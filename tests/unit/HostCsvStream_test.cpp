// The streaming CSV iterator: the same cases as the in-memory loader, only
// the needed columns converted, rewind, errors surfacing at the right case,
// and random or truncated input failing cleanly.
#include <gtest/gtest.h>

#include <cfloat>
#include <cstring>
#include <fstream>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include "CsvLoader.h"
#include "TestSupport.h"

namespace {

std::string WriteFile(const std::string& name, const std::string& text)
{
    std::string path = kvtest::ProcessTempDir() + name;
    std::ofstream(path, std::ios::binary) << text;
    return path;
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
        switch (rng() % 4) {
        case 0: t += ", with comma"; break;
        case 1: t += " \"quoted\""; break;
        case 2: t += "\nsecond line"; break;
        default: break;
        }
        g.x.push_back(x);
        g.text.push_back(t);
        std::string quoted = "\"";
        for (char c : t) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
        quoted += "\"";
        char num[64];
        std::snprintf(num, sizeof num, "%.2f", x);
        g.csv += std::to_string(i + 1) + "," + (x == -DBL_MAX ? std::string(" ") : std::string(num)) + "," + quoted +
                 "," + std::to_string(i % 5) + "\r\n";
    }
    return g;
}

std::string TextOf(const OBS* value, int width)
{
    std::string s(value->str, static_cast<size_t>(width));
    s.erase(s.find_last_not_of(' ') + 1);
    return s;
}

TEST(HostCsvStream, SameCasesAsTheInMemoryLoaderAndTheGenerator)
{
    Generated g = Generate(6000, 11);
    std::string path = WriteFile("gen.csv", g.csv);
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
    std::string dict = R"({"variables": [{"name": "b", "type": "numeric"}, {"name": "s", "type": "string", "width": 9}]})";
    std::string path = WriteFile("needed.csv", "a,b,c,s,w\n1,oops,zz,keep,2\n2,bad,zz,me,0.5\n");
    DataDictionary d = LoadDictionary(WriteFile("needed.dict.json", dict));
    CsvCaseIterator it(path, &d, CsvColumns::Names({"a"}), CsvOptions{}, 4);
    EXPECT_TRUE(it.IsNeeded(0));
    EXPECT_FALSE(it.IsNeeded(1));
    EXPECT_TRUE(it.IsNeeded(4));  // the weight joins the needed columns
    EXPECT_FALSE(it.IsInferred(2));
    EXPECT_EQ(it.GetDataSource().GetVariable(3)->GetType(), 9);
    for (int pass = 0; pass < 2; ++pass) {
        std::vector<double> a, w;
        while (it.Next()) {
            a.push_back(it.GetValue(0)->num);
            w.push_back(it.Weight());
            EXPECT_EQ(it.GetValue(1)->num, -DBL_MAX);         // not asked for
            EXPECT_EQ(TextOf(it.GetValue(3), 9), "");         // blanks
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
    std::string path = WriteFile("late.csv", csv);
    std::string dictPath = WriteFile("late.dict.json", R"({"variables": [{"name": "n", "type": "numeric"}]})");
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
    EXPECT_THROW(LoadCsv(path, dictPath), HostError);
}

TEST(HostCsvStream, RewindFailsWhenTheFileIsGoneOrChanged)
{
    std::string path = WriteFile("gone.csv", "a\n1\n2\n");
    CsvCaseIterator it(path, nullptr, CsvColumns::All());
    EXPECT_TRUE(it.Next());
    WriteFile("gone.csv", "b\n1\n");
    EXPECT_FALSE(it.Rewind());
    EXPECT_FALSE(it.Next());
    std::remove(path.c_str());
    EXPECT_FALSE(it.Rewind());
}

// Every failure is a HostError with one line that starts with the file name.
void ExpectCleanOutcome(const std::string& csvPath, const std::string* dictPath, const std::string& what)
{
    try {
        auto ds = dictPath ? LoadCsv(csvPath, *dictPath) : LoadCsv(csvPath);
        ASSERT_NE(ds, nullptr);
        for (int v = 0; v < ds->GetNumVariables(); ++v) {
            int type = ds->GetVariable(v)->GetType();
            ASSERT_GE(type, 0);
            ASSERT_LE(type, 32767);
        }
    } catch (const HostError& e) {
        std::string m = e.what();
        EXPECT_EQ(m.find('\n'), std::string::npos) << what << ": " << m;
        const std::string& named = dictPath && m.rfind(*dictPath, 0) == 0 ? *dictPath : csvPath;
        EXPECT_EQ(m.rfind(named + ":", 0), 0u) << what << ": " << m;
    }
}

TEST(HostCsvFuzz, RandomAndTruncatedCsvNeverCrashesOrLoadsHalf)
{
    std::mt19937 rng(20240611);
    const std::string alphabet = "ab1.2,\"\n\r \t-e;";
    Generated g = Generate(40, 5);
    std::string csvPath = kvtest::ProcessTempDir() + "fuzz.csv";
    for (int round = 0; round < 300; ++round) {
        std::string text;
        if (round % 3 == 0) {
            text = g.csv.substr(0, rng() % g.csv.size());  // truncated anywhere
        } else if (round % 3 == 1) {
            text = g.csv.substr(0, 2000);
            for (int k = 0; k < 5; ++k) text[rng() % text.size()] = alphabet[rng() % alphabet.size()];
        } else {
            size_t n = rng() % 200;
            for (size_t k = 0; k < n; ++k) text += (rng() % 5 == 0) ? static_cast<char>(rng() % 256)
                                                                   : alphabet[rng() % alphabet.size()];
        }
        std::ofstream(csvPath, std::ios::binary) << text;
        ExpectCleanOutcome(csvPath, nullptr, "round " + std::to_string(round));
    }
    // A truncation inside a quoted field is an error, never a shorter dataset.
    size_t open = g.csv.find("\"a");
    std::ofstream(csvPath, std::ios::binary) << g.csv.substr(0, open + 3);
    EXPECT_THROW(LoadCsv(csvPath), HostError);
}

TEST(HostCsvFuzz, RandomAndTruncatedDictionariesFailCleanly)
{
    const std::string good = R"({"variables": [
        {"name": "id", "type": "numeric", "label": "Id", "format": {"type": "F", "width": 8, "decimals": 0},
         "valueLabels": [{"value": 1, "label": "one"}], "missing": {"values": [9], "range": [97, 99]}},
        {"name": "text", "type": "string", "width": 400, "missing": {"values": ["XX"]},
         "valueLabels": [{"value": "a", "label": "A"}]}]})";
    std::string csvPath = WriteFile("fuzzdict.csv", Generate(20, 9).csv);
    std::string dictPath = kvtest::ProcessTempDir() + "fuzz.dict.json";
    std::mt19937 rng(77);
    const std::string noise = "{}[]\":,0123456789-e.tfnul \\\x80\xff";
    for (int round = 0; round < 300; ++round) {
        std::string text = good;
        if (round % 2 == 0) {
            text = good.substr(0, rng() % good.size());
        } else {
            for (int k = 0; k < 3; ++k) text[rng() % text.size()] = noise[rng() % noise.size()];
        }
        std::ofstream(dictPath, std::ios::binary) << text;
        ExpectCleanOutcome(csvPath, &dictPath, "round " + std::to_string(round));
    }
}

}  // namespace
