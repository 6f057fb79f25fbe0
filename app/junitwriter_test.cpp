// The JUnit report: grouping and counts per suite, verdicts, and texts that would break XML.
// Every report written here is checked against the schema in testdata with xmllint.
#include "app/junitvalidation.h"
#include "app/junitwriter.h"
#include "hosting/ftestnode.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace Quillmark;

namespace
{

TestOutcome outcome(const std::string& suite, const std::string& name, int32 status)
{
    TestOutcome result;
    result.suite = suite;
    result.path = suite + "/" + name;
    result.status = status;
    result.summary = status == FTestNode::kPassed ? FTestNode::kPassed : FTestNode::kFailed;
    result.seconds = 0.5;
    return result;
}

size_t count(const std::string& text, const std::string& part)
{
    size_t found = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++found;
    return found;
}

} // namespace

TEST(JUnitWriter, SuitesCountTheirCasesAndTheFileValidates)
{
    const std::string global = "Root/Global Instance/Qel Gain/Global Instance";
    std::vector<TestOutcome> outcomes;
    outcomes.push_back(outcome("Root/Qel Gain Tests", "Gain Parameter Mapping", 1));
    outcomes.back().messages = {"checked 3 gain values", "second line"};
    outcomes.push_back(outcome(global, "QEL3 Conformity/General/Scan Parameters", 1));
    outcomes.push_back(outcome(global, "QEL3 Conformity/General/MIDI Mapping", 2));
    outcomes.back().errors = {"first error", "second error"};
    outcomes.back().note = "SIGSEGV";
    outcomes.push_back(outcome(global, "Special Features/Process Test", 0));
    outcomes.back().ran = false;

    std::ostringstream out;
    JUnitWriter("2024-05-01T12:00:00").write(out, outcomes);
    const std::string xml = out.str();
    EXPECT_NE(xml.find("<testsuites name=\"Qel3PluginTestHost\" tests=\"4\" failures=\"1\" "
                       "errors=\"0\" skipped=\"1\" time=\"2.000\">"),
              std::string::npos)
        << xml;
    EXPECT_NE(xml.find("<testsuite name=\"" + global +
                       "\" id=\"1\" tests=\"3\" failures=\"1\" "
                       "errors=\"0\" skipped=\"1\" time=\"1.500\" "
                       "timestamp=\"2024-05-01T12:00:00\">"),
              std::string::npos)
        << xml;
    EXPECT_NE(xml.find("<testcase classname=\"" + global +
                       "\" name=\"QEL3 Conformity/General/MIDI Mapping\" time=\"0.500\">\n"
                       "      <failure message=\"first error\" type=\"SIGSEGV\">first error\n"
                       "second error</failure>"),
              std::string::npos)
        << xml;
    EXPECT_NE(xml.find("<system-out>checked 3 gain values\nsecond line</system-out>"),
              std::string::npos);
    EXPECT_EQ(count(xml, "<skipped "), 1u);
    EXPECT_EQ(count(xml, "<testcase "), 4u);

    Quillmark::testing::TempFolder temp;
    std::string file = temp.file("report.xml");
    std::string error;
    ASSERT_TRUE(JUnitWriter().writeFile(file, outcomes, error)) << error;
    std::string complaints;
    EXPECT_TRUE(Quillmark::testing::validJUnit(file, complaints)) << complaints;

    EXPECT_FALSE(JUnitWriter().writeFile(temp.file("missing/folder/report.xml"), outcomes, error));
    EXPECT_NE(error.find("missing/folder"), std::string::npos);
}

TEST(JUnitWriter, TextsThatWouldBreakTheXmlAreMadeSafe)
{
    EXPECT_EQ(JUnitWriter::escape("a<b>&c\"d'"), "a&lt;b&gt;&amp;c\"d'");
    EXPECT_EQ(JUnitWriter::escape("\"x\"\n\ty", true), "&quot;x&quot;&#10;&#9;y");
    EXPECT_EQ(JUnitWriter::escape(std::string("bell\x07nul") + '\0' + "end"),
              "bell\xEF\xBF\xBDnul\xEF\xBF\xBD"
              "end");
    EXPECT_EQ(JUnitWriter::escape("caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x8E\xB5"),
              "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x8E\xB5")
        << "valid UTF-8 stays";
    EXPECT_EQ(JUnitWriter::escape("bad \xC3 \xE2\x82 \xC0\xAF \xED\xA0\x80 end"),
              "bad \xEF\xBF\xBD \xEF\xBF\xBD\xEF\xBF\xBD \xEF\xBF\xBD\xEF\xBF\xBD "
              "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD end")
        << "cut, overlong and surrogate sequences";

    // A plug-in's messages may hold anything: the report must still be read.
    std::vector<TestOutcome> outcomes{outcome("Root/Fx <&> \"quoted\"", "Tab\there", 2)};
    outcomes[0].errors = {"nul \x01 and broken \xFF bytes ]]> <![CDATA["};
    outcomes[0].messages = {"CR\r\nLF"};
    Quillmark::testing::TempFolder temp;
    std::string file = temp.file("awkward.xml");
    std::string error;
    ASSERT_TRUE(JUnitWriter().writeFile(file, outcomes, error));
    std::string complaints;
    EXPECT_TRUE(Quillmark::testing::validJUnit(file, complaints)) << complaints;
}
