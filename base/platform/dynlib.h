// Loading shared libraries and finding their symbols. The handle belongs to the caller, who
// frees it once.
#pragma once

#include <string>

namespace Quillmark::platform
{

using LibraryHandle = void*;

/** Checks that the file is a whole shared library for this machine before it is mapped. */
bool checkLibraryFile(const std::string& path, std::string* error = nullptr);
/** Checks the file, then loads with every symbol resolved now and kept local; null on failure with
 * the reason. */
LibraryHandle loadLibrary(const std::string& path, std::string* error = nullptr);
void* findSymbol(LibraryHandle library, const char* name);
void freeLibrary(LibraryHandle library);
/** How many libraries this process loaded through loadLibrary so far. */
long loadedLibraryCount();

} // namespace Quillmark::platform
