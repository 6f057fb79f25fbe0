// The records and interfaces through which a module tells the host which classes it offers,
// and the entry points every module exports. Sizes and offsets are wire format: a module built
// by anyone must match them byte for byte.
#pragma once

#include "qel3/funknown.h"

namespace Quillmark
{

/** What a factory says about its maker. */
struct PFactoryInfo
{
    enum FactoryFlags : int32
    {
        kNoFlags = 0,
        kClassesDiscardable = 1,      // the class list may change from run to run
        kLicenseCheck = 2,            // classes pass a licence check before use
        kComponentNonDiscardable = 8, // the module stays loaded once loaded
        kUnicode = 16,                // the texts of the classes are 16-bit
    };
    static constexpr int32 kNameSize = 64;
    static constexpr int32 kURLSize = 256;
    static constexpr int32 kEmailSize = 128;

    char8 vendor[kNameSize];
    char8 url[kURLSize];
    char8 email[kEmailSize];
    int32 flags;
};

/** A class as the first factory interface tells it. */
struct PClassInfo
{
    static constexpr int32 kManyInstances = 0x7FFFFFFF;
    static constexpr int32 kCategorySize = 32;
    static constexpr int32 kNameSize = 64;

    TUID cid;
    int32 cardinality;
    char8 category[kCategorySize];
    char8 name[kNameSize];
};

/** A class as the second factory interface tells it: the first record, then more. */
struct PClassInfo2
{
    static constexpr int32 kVendorSize = 64;
    static constexpr int32 kVersionSize = 64;
    static constexpr int32 kSubCategoriesSize = 128;

    TUID cid;
    int32 cardinality;
    char8 category[PClassInfo::kCategorySize];
    char8 name[PClassInfo::kNameSize];
    uint32 classFlags;
    char8 subCategories[kSubCategoriesSize]; // "|"-separated words
    char8 vendor[kVendorSize];
    char8 version[kVersionSize];
    char8 sdkVersion[kVersionSize];
};

/** A class as the third factory interface tells it, with 16-bit texts. */
struct PClassInfoW
{
    TUID cid;
    int32 cardinality;
    char8 category[PClassInfo::kCategorySize];
    char16 name[PClassInfo::kNameSize];
    uint32 classFlags;
    char8 subCategories[PClassInfo2::kSubCategoriesSize];
    char16 vendor[PClassInfo2::kVendorSize];
    char16 version[PClassInfo2::kVersionSize];
    char16 sdkVersion[PClassInfo2::kVersionSize];
};

static_assert(sizeof(PFactoryInfo) == 452);
static_assert(offsetof(PFactoryInfo, vendor) == 0);
static_assert(offsetof(PFactoryInfo, url) == 64);
static_assert(offsetof(PFactoryInfo, email) == 320);
static_assert(offsetof(PFactoryInfo, flags) == 448);

static_assert(sizeof(PClassInfo) == 116);
static_assert(offsetof(PClassInfo, cid) == 0);
static_assert(offsetof(PClassInfo, cardinality) == 16);
static_assert(offsetof(PClassInfo, category) == 20);
static_assert(offsetof(PClassInfo, name) == 52);

static_assert(sizeof(PClassInfo2) == 440);
static_assert(offsetof(PClassInfo2, cid) == 0);
static_assert(offsetof(PClassInfo2, cardinality) == 16);
static_assert(offsetof(PClassInfo2, category) == 20);
static_assert(offsetof(PClassInfo2, name) == 52);
static_assert(offsetof(PClassInfo2, classFlags) == 116);
static_assert(offsetof(PClassInfo2, subCategories) == 120);
static_assert(offsetof(PClassInfo2, vendor) == 248);
static_assert(offsetof(PClassInfo2, version) == 312);
static_assert(offsetof(PClassInfo2, sdkVersion) == 376);

static_assert(sizeof(PClassInfoW) == 696);
static_assert(offsetof(PClassInfoW, cid) == 0);
static_assert(offsetof(PClassInfoW, cardinality) == 16);
static_assert(offsetof(PClassInfoW, category) == 20);
static_assert(offsetof(PClassInfoW, name) == 52);
static_assert(offsetof(PClassInfoW, classFlags) == 180);
static_assert(offsetof(PClassInfoW, subCategories) == 184);
static_assert(offsetof(PClassInfoW, vendor) == 312);
static_assert(offsetof(PClassInfoW, version) == 440);
static_assert(offsetof(PClassInfoW, sdkVersion) == 568);

/** The factory every module hands out through "GetPluginFactory". */
class IPluginFactory : public FUnknown
{
public:
    virtual tresult getFactoryInfo(PFactoryInfo* info) = 0;
    virtual int32 countClasses() = 0;
    virtual tresult getClassInfo(int32 index, PClassInfo* info) = 0;
    virtual tresult createInstance(FIDString cid, FIDString iid, void** obj) = 0;

    QEL_INTERFACE_IID(0x7A4D811C, 0x52114A1F, 0xAED9D2EE, 0x0B43BF9F);
};

/** Adds the longer class record. */
class IPluginFactory2 : public IPluginFactory
{
public:
    virtual tresult getClassInfo2(int32 index, PClassInfo2* info) = 0;

    QEL_INTERFACE_IID(0x0007B650, 0xF24B4C0B, 0xA464EDB9, 0xF00B2ABB);
};

/** Adds the 16-bit class record and the host context. */
class IPluginFactory3 : public IPluginFactory2
{
public:
    virtual tresult getClassInfoUnicode(int32 index, PClassInfoW* info) = 0;
    virtual tresult setHostContext(FUnknown* context) = 0;

    QEL_INTERFACE_IID(0x4555A2AB, 0xC1234E57, 0x9B122910, 0x36878931);
};

/** The class categories the host knows. */
inline constexpr const char8* kAudioModuleClass = "Audio Module Class";
inline constexpr const char8* kComponentControllerClass = "Component Controller Class";
inline constexpr const char8* kTestClass = "Test Class";
inline constexpr const char8* kServiceClass = "Service";

/** Signatures of the exported entry points. "GetPluginFactory" is required; "InitDll" and
    "ExitDll" are optional and run once after loading and before unloading. */
using GetFactoryProc = IPluginFactory* (*)();
using InitModuleProc = bool (*)();
using ExitModuleProc = bool (*)();

} // namespace Quillmark

/** Declares the exported entry points with C linkage and default visibility. */
#define QEL_EXPORT extern "C" __attribute__((visibility("default")))
