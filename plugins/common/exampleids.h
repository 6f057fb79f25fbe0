// Class identifiers, names and file names of the example and fixture modules under plugins/.
// The modules take their identifiers from here, and host tests include this header to know what
// each module offers. Identifiers are fixed: never change one once a module has shipped with it.
#pragma once

#include "qel3/funknown.h"

#include <cstddef>
#include <string_view>

namespace Quillmark
{
namespace Qel
{
namespace Examples
{

// Vendors of the factories. A class with no vendor of its own is shown with its factory's.
inline constexpr const char* kExampleVendor = "Quillmark Examples";
inline constexpr const char* kFixtureVendor = "Quillmark Fixtures";

// QelGain.qel3 (package, IPluginFactory3, kUnicode): two classes.
inline constexpr const char* kQelGainModule = "QelGain.qel3";
inline constexpr QelUid kQelGainCid{0x03613F70, 0x028A2E00, 0x2337D42C, 0xBAA5C897};
inline constexpr const char* kQelGainName = "Qel Gain";
inline constexpr QelUid kQelGainControllerCid{0x2116E902, 0x39E87D13, 0x13FD42CC, 0x3CC51AF1};
inline constexpr const char* kQelGainControllerName = "Qel Gain Controller";

// QelTone.so (IPluginFactory only, flags 0): one class.
inline constexpr const char* kQelToneModule = "QelTone.so";
inline constexpr QelUid kQelToneCid{0xE27A2F72, 0x8011269B, 0x042462D8, 0xC0BE0F4A};
inline constexpr const char* kQelToneName = "Qel Tone";

// Fixtures without any class the host could register.
inline constexpr const char* kNoEntryModule = "fx_no_entry.so";
inline constexpr const char* kNullFactoryModule = "fx_null_factory.so";
inline constexpr const char* kNoClassesModule = "fx_no_classes.so";

// fx_initdll_false.so: InitDll answers false, the factory behind it is valid.
inline constexpr const char* kInitDllFalseModule = "fx_initdll_false.so";
inline constexpr QelUid kInitDllFalseCid{0x3A97FB8D, 0x6E4F7CD8, 0x2226CA01, 0x0F14F52A};
inline constexpr const char* kInitDllFalseName = "Fixture InitDll False";

// fx_duplicate_cid.so: "Duplicate Gain" reuses kQelGainCid; "Fixture Unique" has cardinality 1.
inline constexpr const char* kDuplicateCidModule = "fx_duplicate_cid.so";
inline constexpr const char* kDuplicateGainName = "Duplicate Gain";
inline constexpr QelUid kUniqueCid{0xA4096E32, 0x9661CD1F, 0x03EF4743, 0x3B18CAFC};
inline constexpr const char* kUniqueName = "Fixture Unique";

// fx_discardable.so: kClassesDiscardable | kUnicode.
inline constexpr const char* kDiscardableModule = "fx_discardable.so";
inline constexpr QelUid kDiscardableCid{0xF7725CC0, 0xA1D21DD8, 0x5DF61F00, 0x63045100};
inline constexpr const char* kDiscardableName = "Fixture Discardable";

// fx_bad_category.so: flags 0; one accepted class and one in a category outside the list.
inline constexpr const char* kBadCategoryModule = "fx_bad_category.so";
inline constexpr QelUid kAcceptedCid{0xBF7467A1, 0x0A83C380, 0xB0F84C10, 0x88C0A75C};
inline constexpr const char* kAcceptedName = "Fixture Accepted";
inline constexpr QelUid kOddCid{0xC9008AD4, 0xD91BA7FC, 0x26D190D3, 0x3C5FDF9D};
inline constexpr const char* kOddName = "Fixture Odd";
inline constexpr const char* kOddCategory = "Mystery Class";

// fx_factory2.so: IPluginFactory2 at most, flags 0. The class vendor fills its 8-bit field
// exactly (63 characters); the version is longer, and the module hands out its first 63.
inline constexpr const char* kFactory2Module = "fx_factory2.so";
inline constexpr QelUid kFactory2Cid{0xD91E49AF, 0x0E76F908, 0xDE65DBA8, 0xD478CD48};
inline constexpr const char* kFactory2Name = "Fixture Factory2";
inline constexpr const char* kFactory2Vendor =
    "Quillmark Fixtures - a vendor text of exactly sixty-three chars";
inline constexpr const char* kFactory2Version =
    "2.0.0.1234 (fixture build) with a version text that runs far beyond its 64-byte field";
inline constexpr std::size_t kFactory2TextLimit = 63;

// fx_never_unload.so: kComponentNonDiscardable | kUnicode; its class has cardinality 0.
inline constexpr const char* kNeverUnloadModule = "fx_never_unload.so";
inline constexpr QelUid kNeverUnloadCid{0x761A444C, 0x9790AC47, 0x0649F297, 0xE10E7685};
inline constexpr const char* kNeverUnloadName = "Fixture Never Unload";

// fx_counting.so: appends one line per call ("InitDll", "ExitDll", "GetPluginFactory",
// "createInstance", "setHostContext") to the file that kFixtureLogVariable names, and exports
// kCallCountSymbol, an `int (*)(const char* callName)` with the count of those calls since load.
inline constexpr const char* kCountingModule = "fx_counting.so";
inline constexpr QelUid kCountingCid{0xDB30F362, 0xEAB808C5, 0xD2CA6338, 0x32366A79};
inline constexpr const char* kCountingName = "Fixture Counting";
inline constexpr const char* kFixtureLogVariable = "QEL_FIXTURE_LOG";
inline constexpr const char* kCallCountSymbol = "FixtureCallCount";

// fx_throwing.so: createInstance of its factory throws std::runtime_error with this text.
inline constexpr const char* kThrowingModule = "fx_throwing.so";
inline constexpr QelUid kThrowingCid{0x916E1F46, 0x7526B99E, 0xBCBFD931, 0x2018C83E};
inline constexpr const char* kThrowingName = "Fixture Throwing";
inline constexpr const char* kThrowingMessage = "fixture createInstance failure";

// fx_self_named.so: one class named "Self " followed by the module's file name without folder
// and without ".so", with the identifier selfNamedCid of the module's canonical path (realpath).
// Copies under other names are distinct modules with distinct classes.
inline constexpr const char* kSelfNamedModule = "fx_self_named.so";
inline constexpr const char* kSelfNamedPrefix = "Self ";

/** FNV-1a over 128 bits of the path's bytes. The 128-bit value, most significant byte first,
    gives the four words of the identifier. */
constexpr QelUid selfNamedCid(std::string_view canonicalPath)
{
    __extension__ typedef unsigned __int128 uint128;
    constexpr uint128 prime = (uint128{1} << 88) | 0x13B;
    uint128 hash = (uint128{0x6C62272E07BB0142} << 64) | 0x62B821756295C58D;
    for (char c : canonicalPath)
    {
        hash ^= static_cast<unsigned char>(c);
        hash *= prime;
    }
    return QelUid{static_cast<uint32>(hash >> 96), static_cast<uint32>(hash >> 64),
                  static_cast<uint32>(hash >> 32), static_cast<uint32>(hash)};
}

// fx_plain_c.so: written in plain C11 from the record and interface tables alone (IPluginFactory3,
// kUnicode). Its one class declares all of these itself; kPlainCCidText is the identifier in its
// 32-character text form, as the module's author wrote it down.
inline constexpr const char* kPlainCModule = "fx_plain_c.so";
inline constexpr QelUid kPlainCCid{0x5C0FFEE0, 0x12344567, 0x8899AABB, 0xCCDDEEFF};
inline constexpr const char* kPlainCCidText = "5C0FFEE0123445678899AABBCCDDEEFF";
inline constexpr const char* kPlainCName = "Plain C Chorus";
inline constexpr const char* kPlainCVendor = "Plain C Audio Works";
inline constexpr const char* kPlainCVersion = "2.5.1";
inline constexpr const char* kPlainCSdkVersion = "Qel 3.0.0";
inline constexpr const char* kPlainCSubCategories = "Fx|Modulation";
inline constexpr const char* kPlainCUrl = "https://plainc.example";
inline constexpr const char* kPlainCEmail = "dev@plainc.example";

} // namespace Examples
} // namespace Qel
} // namespace Quillmark
