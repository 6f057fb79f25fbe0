// For tests: checks a JUnit report against the schema in testdata/junit.xsd with xmllint.
#pragma once

#include "hosting/testsupport.h"

#include <cstdlib>
#include <filesystem>
#include <string>

namespace Quillmark::testing
{

inline std::string junitSchemaPath()
{
    return QEL_APP_TESTDATA "/junit.xsd";
}

/** Whether xmllint finds `file` valid against the JUnit schema; its complaints in `output`. */
inline bool validJUnit(const std::string& file, std::string& output)
{
    TempFolder temp;
    std::string log = temp.file("xmllint.txt");
    std::string command =
        "xmllint --noout --schema '" + junitSchemaPath() + "' '" + file + "' >'" + log + "' 2>&1";
    int status = std::system(command.c_str());
    output = readFile(log);
    return status == 0;
}

} // namespace Quillmark::testing
