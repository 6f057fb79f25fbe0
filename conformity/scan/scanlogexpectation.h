// For the tests of the scan tests: the test groups that hold them, placed as in the finished
// tree, and ScanLog, the expected "AutotestLog.txt" section of one class, written test by test.
// Each test source owns its own instances.
#pragma once

#include "conformity/conformitytestsupport.h"
#include "conformity/scan/qeleditorclassestest.h"
#include "conformity/scan/qelkeyswitchtest.h"
#include "conformity/scan/qelmidimappingtest.h"
#include "conformity/scan/qelnoteexpressiontest.h"
#include "conformity/scan/qelprograminfotest.h"
#include "conformity/scan/qelscanbussestest.h"
#include "conformity/scan/qelscanparameterstest.h"
#include "conformity/scan/qelunitinfotest.h"
#include "conformity/scan/qelunitstructuretest.h"
#include "hosting/plugprovider.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace Quillmark::testing
{

template <class T> void addScanTest(FTestNode& group, Qel::PlugProvider& provider)
{
    auto* test = new T(&provider);
    group.addLeaf(test->getName(), test);
    test->release();
}

inline void fillScanGeneral(FTestNode& group, Qel::PlugProvider& provider)
{
    addScanTest<Qel::QelEditorClassesTest>(group, provider);
    addScanTest<Qel::QelScanParametersTest>(group, provider);
    addScanTest<Qel::QelMidiMappingTest>(group, provider);
}

inline void fillScanBusses(FTestNode& group, Qel::PlugProvider& provider)
{
    addScanTest<Qel::QelScanBussesTest>(group, provider);
}

inline void fillScanUnits(FTestNode& group, Qel::PlugProvider& provider)
{
    addScanTest<Qel::QelUnitInfoTest>(group, provider);
    addScanTest<Qel::QelProgramInfoTest>(group, provider);
    addScanTest<Qel::QelUnitStructureTest>(group, provider);
}

inline void fillScanNoteExpression(FTestNode& group, Qel::PlugProvider& provider)
{
    addScanTest<Qel::QelNoteExpressionTest>(group, provider);
    addScanTest<Qel::QelKeyswitchTest>(group, provider);
}

inline std::vector<FTreeBuilder::TestGroup> scanGroups()
{
    return {{"QEL3 Conformity/General", fillScanGeneral},
            {"QEL3 Conformity/Bus handling", fillScanBusses},
            {"QEL3 Conformity/Unit Info", fillScanUnits},
            {"QEL3 Conformity/Note Expression", fillScanNoteExpression}};
}

/** The display names, in tree order, each with the group it stands in. */
inline const std::vector<std::pair<std::string, std::string>>& scanTestsInTreeOrder()
{
    static const std::vector<std::pair<std::string, std::string>> tests = {
        {"General", "Scan Editor Classes"},    {"General", "Scan Parameters"},
        {"General", "MIDI Mapping"},           {"Bus handling", "Scan Busses"},
        {"Unit Info", "Scan Units"},           {"Unit Info", "Scan Programs"},
        {"Unit Info", "Check Unit Structure"}, {"Note Expression", "Note Expression"},
        {"Note Expression", "Keyswitch"},
    };
    return tests;
}

using Lines = std::vector<std::string>;

/** The expected log of the nine scan tests over one class under its global provider. Every test
    passes with no line beyond its banner until `pass` or `fail` says what it reports. */
class ScanLog
{
public:
    explicit ScanLog(std::string className) : className(std::move(className)) {}

    ScanLog& pass(const std::string& test, Lines messages)
    {
        entries[test] = {true, std::move(messages), {}};
        return *this;
    }

    ScanLog& fail(const std::string& test, Lines messages, Lines errors)
    {
        entries[test] = {false, std::move(messages), std::move(errors)};
        return *this;
    }

    std::string text() const
    {
        std::string log;
        for (const auto& [group, test] : scanTestsInTreeOrder())
        {
            const auto found = entries.find(test);
            const Entry entry = found != entries.end() ? found->second : Entry{};
            log += std::string("Test: ") + (entry.passed ? "Passed: " : "************ FAILED: ") +
                   "Root/Global Instance/" + className + "/Global Instance/QEL3 Conformity/" +
                   group + "/" + test + "\r\n";
            log += "  ->Message: ===" + test + " ====================================\r\n";
            for (const std::string& message : entry.messages)
                log += "  ->Message: " + message + "\r\n";
            for (const std::string& error : entry.errors)
                log += "  ->ERROR: " + error + "\r\n";
        }
        return log;
    }

    const std::string& getClassName() const { return className; }

    /** The path of the category that holds the scan groups under the class's global provider,
        for runTree. (The provider's other category has no tests here and would log itself as
        a failed leaf.) */
    std::string categoryPath() const
    {
        return "Global Instance/" + className + "/Global Instance/QEL3 Conformity";
    }

private:
    struct Entry
    {
        bool passed = true;
        Lines messages;
        Lines errors;
    };

    std::string className;
    std::map<std::string, Entry> entries;
};

} // namespace Quillmark::testing
