// The XML form of FAttributes: writing through FXmlWriter and reading through FXmlParser.

#include "base/hexdigit.h"
//
// Texts that XML 1.0 cannot carry (control characters, U+FFFE, U+FFFF, bytes that are not
// UTF-8, lone surrogates) are written in a backslash form, and the element gets
// escaped="true"; that flag covers every text attribute and the content of the element. In
// that form "\\" stands for a backslash, "\xHH" for a byte of an 8-bit text or a unit below
// 0x100 of a 16-bit text, and "\uHHHH" for any other unit of a 16-bit text. Binary blocks are
// base64.

#include "base/fattributes.h"
#include "base/fxmlparser.h"
#include "base/fxmlwriter.h"

#include <charconv>
#include <cstring>
#include <memory>
#include <set>
#include <unordered_map>

namespace Quillmark
{

namespace
{

/** Texts longer than this (in UTF-8 bytes) or with a line feed go as element content. */
constexpr size_t kLongText = 128;
/** Deeper nesting is refused when reading and when writing. */
constexpr size_t kMaxDepth = 256;

const char8 kHexDigits[] = "0123456789ABCDEF";

void appendHexEscape(std::string& out, char8 kind, uint32 value, int digits)
{
    out += '\\';
    out += kind;
    for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4)
        out += kHexDigits[(value >> shift) & 0xF];
}

bool needsEscape(const ConstString& text)
{
    if (!text.isWide())
        return !FXmlWriter::isXmlSafe(std::string(text.text8(), text.length()));
    for (uint32 pos = 0; pos < text.length();)
    {
        char32_t cp;
        if (!Unicode::decodeUtf16(text.text16(), text.length(), &pos, &cp) ||
            !FXmlWriter::isXmlChar(cp))
            return true;
    }
    return false;
}

/** The UTF-8 that stands for `text` in the document, in the backslash form when `escaped`. */
std::string encodeText(const ConstString& text, bool escaped)
{
    if (!escaped)
        return text.toUtf8();
    std::string out;
    if (!text.isWide())
    {
        const char8* s = text.text8();
        for (uint32 pos = 0; pos < text.length();)
        {
            uint32 start = pos;
            char32_t cp;
            bool valid = Unicode::decodeUtf8(s, text.length(), &pos, &cp);
            if (valid && cp == '\\')
                out += "\\\\";
            else if (valid && FXmlWriter::isXmlChar(cp))
                out.append(s + start, pos - start);
            else
            {
                for (uint32 i = start; i < pos; ++i)
                    appendHexEscape(out, 'x', uint8(s[i]), 2);
            }
        }
        return out;
    }
    const char16* s = text.text16();
    for (uint32 pos = 0; pos < text.length();)
    {
        uint32 start = pos;
        char32_t cp;
        bool valid = Unicode::decodeUtf16(s, text.length(), &pos, &cp);
        if (valid && cp == '\\')
            out += "\\\\";
        else if (valid && FXmlWriter::isXmlChar(cp))
            Unicode::appendUtf8(out, cp);
        else
        {
            for (uint32 i = start; i < pos; ++i)
            {
                if (s[i] < 0x100)
                    appendHexEscape(out, 'x', s[i], 2);
                else
                    appendHexEscape(out, 'u', s[i], 4);
            }
        }
    }
    return out;
}

/** Reads `digits` hexadecimal digits at `s[pos]`; -1 when they are not there. */
int32 readHex(const std::string& s, size_t pos, int digits)
{
    if (pos + size_t(digits) > s.size())
        return -1;
    int32 value = 0;
    for (int i = 0; i < digits; ++i)
    {
        int digit = hexDigitValue(s[pos + size_t(i)]);
        if (digit < 0)
            return -1;
        value = (value << 4) | digit;
    }
    return value;
}

/** The text that `utf8` stands for; the reverse of encodeText. An escape that is not one of
    the three forms stays as it stands. */
String decodeText(const std::string& utf8, bool wide, bool escaped)
{
    if (!escaped)
    {
        String text(utf8);
        if (wide)
            text.toWideString();
        return text;
    }
    std::string narrow;
    std::u16string units;
    for (size_t i = 0; i < utf8.size();)
    {
        if (utf8[i] == '\\' && i + 1 < utf8.size())
        {
            char8 kind = utf8[i + 1];
            int32 value = -1;
            if (kind == '\\')
                value = '\\';
            else if (kind == 'x')
                value = readHex(utf8, i + 2, 2);
            else if (kind == 'u')
                value = readHex(utf8, i + 2, 4);
            if (value >= 0)
            {
                if (wide)
                    units.push_back(char16(value));
                else if (kind == 'u')
                    Unicode::appendUtf8(narrow, char32_t(value));
                else
                    narrow.push_back(char8(value));
                i += kind == '\\' ? 2 : kind == 'x' ? 4 : 6;
                continue;
            }
        }
        if (!wide)
        {
            narrow.push_back(utf8[i++]);
            continue;
        }
        uint32 pos = uint32(i);
        char32_t cp;
        Unicode::decodeUtf8(utf8.data(), uint32(utf8.size()), &pos, &cp);
        Unicode::appendUtf16(units, cp);
        i = pos;
    }
    return wide ? String(units) : String(narrow);
}

const char8 kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string encodeBase64(const uint8* data, size_t size)
{
    std::string out;
    out.reserve((size + 2) / 3 * 4);
    for (size_t i = 0; i < size; i += 3)
    {
        uint32 chunk = uint32(data[i]) << 16;
        if (i + 1 < size)
            chunk |= uint32(data[i + 1]) << 8;
        if (i + 2 < size)
            chunk |= data[i + 2];
        out += kBase64[(chunk >> 18) & 63];
        out += kBase64[(chunk >> 12) & 63];
        out += i + 1 < size ? kBase64[(chunk >> 6) & 63] : '=';
        out += i + 2 < size ? kBase64[chunk & 63] : '=';
    }
    return out;
}

/** Decodes base64, skipping white space; false on any other character or a cut group. */
bool decodeBase64(const std::string& text, std::vector<uint8>& out)
{
    uint32 chunk = 0;
    int count = 0;
    int padding = 0;
    for (char8 c : text)
    {
        if (c == ' ' || c == '\t' || c == '\n' || c == '\r')
            continue;
        int value;
        if (c == '=')
        {
            value = 0;
            ++padding;
        }
        else
        {
            const char8* found = std::strchr(kBase64, c);
            if (!found || c == 0 || padding > 0)
                return false;
            value = int(found - kBase64);
        }
        chunk = (chunk << 6) | uint32(value);
        if (++count == 4)
        {
            if (padding > 2)
                return false;
            out.push_back(uint8(chunk >> 16));
            if (padding < 2)
                out.push_back(uint8(chunk >> 8));
            if (padding < 1)
                out.push_back(uint8(chunk));
            chunk = 0;
            count = 0;
            if (padding > 0)
                padding = 3; // nothing may follow a padded group
        }
    }
    return count == 0;
}

} // namespace

// --- writing ------------------------------------------------------------------------------

struct FAttrXmlWriter
{
    explicit FAttrXmlWriter(FXmlWriter& xml) : xml(xml) {}

    /** Numbers that objects carry already; the writer gives the others fresh ones. */
    void collectNumbers(const FAttributes& attributes, size_t depth)
    {
        if (depth > kMaxDepth)
            return;
        for (const FAttributes::Entry& entry : attributes.entries)
        {
            if (entry.type == FAttrType::kObject)
            {
                auto* object = static_cast<const FXmlObject*>(entry.object);
                if (object->getXmlID() != 0)
                    taken.insert(object->getXmlID());
                if (auto* instance = FCast<FXmlInstance>(object))
                    collectNumbers(instance->getAttributes(), depth + 1);
            }
            else if (entry.type == FAttrType::kList)
                collectNumbers(*static_cast<const FAttrList*>(entry.object), depth + 1);
            else if (entry.type == FAttrType::kSubList)
            {
                auto* list = static_cast<const FSubList*>(entry.object);
                for (int32 i = 0; i < list->count(); ++i)
                    collectNumbers(*list->at(i), depth + 1);
            }
        }
    }

    uint64 numberOf(const FXmlObject* object)
    {
        if (object->getXmlID() != 0)
            return object->getXmlID();
        auto found = assigned.find(object);
        if (found != assigned.end())
            return found->second;
        while (taken.count(nextNumber))
            ++nextNumber;
        taken.insert(nextNumber);
        assigned[object] = nextNumber;
        return nextNumber;
    }

    /** Starts an element with its text attributes; answers whether they use the backslash
        form, which the caller marks after its other attributes. */
    bool startWithTexts(const char* tag, const std::vector<std::pair<const char*, String>>& texts)
    {
        bool escaped = false;
        for (const auto& text : texts)
            escaped = escaped || needsEscape(text.second);
        xml.startElement(tag);
        for (const auto& text : texts)
            xml.addAttribute(text.first, encodeText(text.second, escaped));
        return escaped;
    }

    void markEscaped(bool escaped)
    {
        if (escaped)
            xml.addAttribute("escaped", "true");
    }

    static String nameOf(const FAttributes::Entry& entry)
    {
        return String(entry.name.data(), uint32(entry.name.size()));
    }

    void writeEntries(const FAttributes& attributes, bool topLevel, size_t depth)
    {
        if (depth > kMaxDepth)
        {
            failed = true;
            return;
        }
        for (const FAttributes::Entry& entry : attributes.entries)
            writeEntry(entry, topLevel, depth);
    }

    void writeObjectBody(const FXmlObject* object, size_t depth)
    {
        if (auto* instance = FCast<FXmlInstance>(object))
        {
            writeEntries(instance->getAttributes(), false, depth + 1);
            return;
        }
        auto* state = new FAttrList;
        if (object->storeXml(*state))
            writeEntries(*state, false, depth + 1);
        else
            failed = true;
        state->release();
    }

    void writeString(const FAttributes::Entry& entry)
    {
        bool escaped = needsEscape(nameOf(entry)) || needsEscape(entry.text);
        std::string value = encodeText(entry.text, escaped);
        bool asContent = value.size() > kLongText || value.find('\n') != std::string::npos;
        xml.startElement("string");
        xml.addAttribute("name", encodeText(nameOf(entry), escaped));
        if (!asContent)
            xml.addAttribute("value", value);
        if (entry.text.isWide())
            xml.addAttribute("wide", "true");
        markEscaped(escaped);
        if (asContent)
            xml.writeText(value);
        xml.endElement();
    }

    void writeList(const FAttributes::Entry& entry, const char* type, size_t depth)
    {
        bool escaped = startWithTexts("list", {{"name", nameOf(entry)}});
        xml.addAttribute("type", type);
        markEscaped(escaped);
        switch (entry.type)
        {
        case FAttrType::kIntList:
            for (int64 value : static_cast<const FIntList*>(entry.object)->values())
            {
                xml.startElement("item");
                xml.addAttributeInt("value", value);
                xml.endElement();
            }
            break;
        case FAttrType::kFloatList:
            for (double value : static_cast<const FFloatList*>(entry.object)->values())
            {
                xml.startElement("item");
                xml.addAttributeFloat("value", value);
                xml.endElement();
            }
            break;
        case FAttrType::kStringList:
            for (const String& value : static_cast<const FStringList*>(entry.object)->values())
            {
                bool itemEscaped = startWithTexts("item", {{"value", value}});
                if (value.isWide())
                    xml.addAttribute("wide", "true");
                markEscaped(itemEscaped);
                xml.endElement();
            }
            break;
        case FAttrType::kObjectList:
            for (uint64 value : static_cast<const FObjectList*>(entry.object)->values())
            {
                xml.startElement("item");
                xml.addAttributeUInt("value", value);
                xml.endElement();
            }
            break;
        case FAttrType::kSubList:
        {
            auto* list = static_cast<const FSubList*>(entry.object);
            for (int32 i = 0; i < list->count(); ++i)
            {
                xml.startElement("item");
                writeEntries(*list->at(i), false, depth + 1);
                xml.endElement();
            }
            break;
        }
        default:
            break;
        }
        xml.endElement();
    }

    void writeEntry(const FAttributes::Entry& entry, bool topLevel, size_t depth)
    {
        switch (entry.type)
        {
        case FAttrType::kInt:
        {
            bool escaped = startWithTexts("int", {{"name", nameOf(entry)}});
            xml.addAttributeInt("value", entry.intValue);
            markEscaped(escaped);
            xml.endElement();
            break;
        }
        case FAttrType::kFloat:
        {
            bool escaped = startWithTexts("float", {{"name", nameOf(entry)}});
            xml.addAttributeFloat("value", entry.floatValue);
            markEscaped(escaped);
            xml.endElement();
            break;
        }
        case FAttrType::kString:
            writeString(entry);
            break;
        case FAttrType::kList:
        {
            markEscaped(startWithTexts("member", {{"name", nameOf(entry)}}));
            writeEntries(*static_cast<const FAttrList*>(entry.object), false, depth + 1);
            xml.endElement();
            break;
        }
        case FAttrType::kObject:
        {
            // At the top a <root> element names the object; inside a tree the <obj> does.
            auto* object = static_cast<const FXmlObject*>(entry.object);
            uint64 number = numberOf(object);
            String className(object->getXmlClass());
            bool escaped;
            if (topLevel)
            {
                escaped = startWithTexts("root", {{"name", nameOf(entry)}});
                xml.addAttributeUInt("ID", number);
                markEscaped(escaped);
                escaped = startWithTexts("obj", {{"class", className}});
            }
            else
            {
                escaped = startWithTexts("obj", {{"name", nameOf(entry)}, {"class", className}});
            }
            xml.addAttributeUInt("ID", number);
            markEscaped(escaped);
            writeObjectBody(object, depth);
            xml.endElement();
            if (topLevel)
                xml.endElement();
            break;
        }
        case FAttrType::kReference:
        {
            bool escaped = startWithTexts("obj", {{"name", nameOf(entry)}});
            xml.addAttributeUInt("ref", static_cast<const FXmlReference*>(entry.object)->getID());
            markEscaped(escaped);
            xml.endElement();
            break;
        }
        case FAttrType::kBuffer:
        {
            auto* buffer = static_cast<const FAttrBuffer*>(entry.object);
            markEscaped(startWithTexts("bin", {{"name", nameOf(entry)}}));
            xml.writeText(encodeBase64(buffer->data(), size_t(buffer->size())));
            xml.endElement();
            break;
        }
        case FAttrType::kIntList:
            writeList(entry, "int", depth);
            break;
        case FAttrType::kFloatList:
            writeList(entry, "float", depth);
            break;
        case FAttrType::kStringList:
            writeList(entry, "string", depth);
            break;
        case FAttrType::kObjectList:
            writeList(entry, "obj", depth);
            break;
        case FAttrType::kSubList:
            writeList(entry, "list", depth);
            break;
        case FAttrType::kNone:
            break;
        }
    }

    FXmlWriter& xml;
    std::set<uint64> taken;
    std::unordered_map<const FXmlObject*, uint64> assigned;
    uint64 nextNumber = 1;
    bool failed = false;
};

bool FAttributes::writeXml(IBStream* stream) const
{
    if (!stream)
        return false;
    FXmlWriter xml(stream);
    xml.writeHeader();
    xml.startElement("rootObjects");
    FAttrXmlWriter writer(xml);
    writer.collectNumbers(*this, 0);
    writer.writeEntries(*this, true, 0);
    xml.endElement();
    return xml.finish() && !writer.failed;
}

// --- reading ------------------------------------------------------------------------------

namespace
{

class AttrReader : public FXmlParser::Handler
{
public:
    explicit AttrReader(FAttributes& document) : document(document) {}

    void setParser(FXmlParser* p) { parser = p; }

    void startElement(const char* tag, const char** attributes) override
    {
        if (frames.size() > kMaxDepth)
            return stop("elements are nested too deeply");
        if (frames.empty())
        {
            if (std::strcmp(tag, "rootObjects") != 0)
                return stop(std::string("not an attribute document: the root element is <") + tag +
                            ">");
            auto frame = std::make_unique<Frame>(Kind::kDocument);
            frame->target = &document;
            frames.push_back(std::move(frame));
            return;
        }
        Frame& parent = *frames.back();
        this->attributes = attributes;
        switch (parent.kind)
        {
        case Kind::kDocument:
        case Kind::kMember:
        case Kind::kObject:
        case Kind::kSubItem:
            startEntry(tag, parent);
            break;
        case Kind::kRoot:
            if (std::strcmp(tag, "obj") == 0 && !parent.object)
                startObject(nullptr);
            else
                push(Kind::kSkip);
            break;
        case Kind::kList:
            if (std::strcmp(tag, "item") == 0)
                startItem(parent);
            else
                push(Kind::kSkip);
            break;
        default:
            push(Kind::kSkip);
            break;
        }
    }

    void endElement(const char*) override
    {
        if (frames.empty())
            return;
        std::unique_ptr<Frame> frame = std::move(frames.back());
        frames.pop_back();
        if (!frames.empty())
            finish(*frame, *frames.back());
    }

    void characterData(const char* text, int32 length) override
    {
        if (frames.empty())
            return;
        Frame& frame = *frames.back();
        if (frame.kind == Kind::kString || frame.kind == Kind::kBinary)
            frame.content.append(text, size_t(length));
    }

private:
    enum class Kind
    {
        kDocument, // <rootObjects>
        kRoot,     // <root>, holds the object of its <obj>
        kMember,   // <member>: entries into an FAttrList
        kObject,   // <obj> with a body: entries into an FXmlInstance
        kSubItem,  // <item> of a list of lists: entries into an FAttrList
        kString,
        kBinary,
        kList,
        kLeaf, // a value read from the start tag
        kSkip, // an element this reader does not know, with all inside it
    };

    struct Frame
    {
        explicit Frame(Kind kind) : kind(kind) {}
        ~Frame()
        {
            if (object)
                object->release();
        }
        Frame(const Frame&) = delete;
        Frame& operator=(const Frame&) = delete;

        Kind kind;
        std::string name;
        FAttrType type = FAttrType::kNone;
        int64 intValue = 0;
        double floatValue = 0;
        uint64 number = 0;
        FObject* object = nullptr;     // the pending value, one reference
        FAttributes* target = nullptr; // where entries inside this element go
        bool wide = false;
        bool escaped = false;
        bool hasValue = false;
        std::string value;
        std::string content;
    };

    const char* attr(const char* name) const { return FXmlParser::findAttribute(attributes, name); }

    bool flag(const char* name) const
    {
        const char* value = attr(name);
        return value && std::strcmp(value, "true") == 0;
    }

    Frame& push(Kind kind)
    {
        frames.push_back(std::make_unique<Frame>(kind));
        return *frames.back();
    }

    void stop(const std::string& reason)
    {
        if (parser)
            parser->stop(reason);
    }

    /** A new frame with the decoded name of the element. */
    Frame& pushNamed(Kind kind)
    {
        bool escaped = flag("escaped");
        const char* name = attr("name");
        Frame& frame = push(kind);
        frame.escaped = escaped;
        frame.name = decodeText(name ? name : "", false, escaped).toUtf8();
        return frame;
    }

    template <class T> bool parseNumber(const char* text, T& value)
    {
        if (!text || !*text)
            return false;
        const char* end = text + std::strlen(text);
        auto result = std::from_chars(text, end, value);
        return result.ec == std::errc() && result.ptr == end;
    }

    bool parseFloat(const char* text, double& value)
    {
        if (!text || !*text)
            return false;
        const char* end = text + std::strlen(text);
        auto result = std::from_chars(text, end, value, std::chars_format::general);
        return result.ec == std::errc() && result.ptr == end;
    }

    void badValue(const char* tag)
    {
        const char* value = attr("value");
        stop(std::string("bad value of <") + tag + ">: \"" + (value ? value : "") + "\"");
    }

    void startEntry(const char* tag, Frame& parent)
    {
        if (std::strcmp(tag, "int") == 0)
        {
            Frame& frame = pushNamed(Kind::kLeaf);
            frame.type = FAttrType::kInt;
            if (!parseNumber(attr("value"), frame.intValue))
                badValue(tag);
        }
        else if (std::strcmp(tag, "float") == 0)
        {
            Frame& frame = pushNamed(Kind::kLeaf);
            frame.type = FAttrType::kFloat;
            if (!parseFloat(attr("value"), frame.floatValue))
                badValue(tag);
        }
        else if (std::strcmp(tag, "string") == 0)
        {
            const char* value = attr("value");
            Frame& frame = pushNamed(Kind::kString);
            frame.type = FAttrType::kString;
            frame.hasValue = value != nullptr;
            frame.value = value ? value : "";
            frame.wide = flag("wide");
        }
        else if (std::strcmp(tag, "member") == 0)
        {
            Frame& frame = pushNamed(Kind::kMember);
            auto* list = new FAttrList;
            frame.type = FAttrType::kList;
            frame.object = list;
            frame.target = list;
        }
        else if (std::strcmp(tag, "obj") == 0)
        {
            if (const char* ref = attr("ref"))
            {
                Frame& frame = pushNamed(Kind::kLeaf);
                frame.type = FAttrType::kReference;
                if (!parseNumber(ref, frame.number))
                    stop(std::string("bad object reference \"") + ref + "\"");
            }
            else
                startObject(&parent);
        }
        else if (std::strcmp(tag, "bin") == 0)
        {
            pushNamed(Kind::kBinary).type = FAttrType::kBuffer;
        }
        else if (std::strcmp(tag, "list") == 0)
        {
            startList();
        }
        else if (std::strcmp(tag, "root") == 0 && parent.kind == Kind::kDocument)
        {
            pushNamed(Kind::kRoot).type = FAttrType::kObject;
        }
        else
        {
            push(Kind::kSkip);
        }
    }

    /** <obj class=".." ID=".."> inside a <root> (no `parent` entry list) or as an entry. */
    void startObject(Frame* parent)
    {
        bool escaped = flag("escaped");
        const char* className = attr("class");
        const char* id = attr("ID");
        uint64 number = 0;
        if (id && !parseNumber(id, number))
            return stop(std::string("bad object number \"") + id + "\"");
        Frame& frame = parent ? pushNamed(Kind::kObject) : push(Kind::kObject);
        auto* instance =
            new FXmlInstance(decodeText(className ? className : "", false, escaped), number);
        frame.type = FAttrType::kObject;
        frame.object = instance;
        frame.target = &instance->getAttributes();
    }

    void startList()
    {
        const char* type = attr("type");
        std::string kind = type ? type : "";
        FObject* list = nullptr;
        FAttrType listType = FAttrType::kNone;
        if (kind == "int")
        {
            list = new FIntList;
            listType = FAttrType::kIntList;
        }
        else if (kind == "float")
        {
            list = new FFloatList;
            listType = FAttrType::kFloatList;
        }
        else if (kind == "string")
        {
            list = new FStringList;
            listType = FAttrType::kStringList;
        }
        else if (kind == "obj")
        {
            list = new FObjectList;
            listType = FAttrType::kObjectList;
        }
        else if (kind == "list")
        {
            list = new FSubList;
            listType = FAttrType::kSubList;
        }
        if (!list)
        {
            push(Kind::kSkip); // a list kind of a later version
            return;
        }
        Frame& frame = pushNamed(Kind::kList);
        frame.type = listType;
        frame.object = list;
    }

    void startItem(Frame& list)
    {
        const char* value = attr("value");
        switch (list.type)
        {
        case FAttrType::kIntList:
        {
            int64 number = 0;
            if (!parseNumber(value, number))
                return badValue("item");
            static_cast<FIntList*>(list.object)->add(number);
            break;
        }
        case FAttrType::kFloatList:
        {
            double number = 0;
            if (!parseFloat(value, number))
                return badValue("item");
            static_cast<FFloatList*>(list.object)->add(number);
            break;
        }
        case FAttrType::kStringList:
            static_cast<FStringList*>(list.object)
                ->add(decodeText(value ? value : "", flag("wide"), flag("escaped")));
            break;
        case FAttrType::kObjectList:
        {
            uint64 number = 0;
            if (!parseNumber(value, number))
                return badValue("item");
            static_cast<FObjectList*>(list.object)->add(number);
            break;
        }
        case FAttrType::kSubList:
        {
            Frame& frame = push(Kind::kSubItem);
            auto* item = new FAttrList;
            frame.object = item;
            frame.target = item;
            return;
        }
        default:
            break;
        }
        push(Kind::kSkip);
    }

    /** Hands a complete element's value to the element around it. */
    void finish(Frame& frame, Frame& parent)
    {
        if (parent.kind == Kind::kRoot)
        {
            if (frame.kind == Kind::kObject && !parent.object)
                std::swap(parent.object, frame.object);
            return;
        }
        if (parent.kind == Kind::kList)
        {
            if (frame.kind == Kind::kSubItem)
                static_cast<FSubList*>(parent.object)->add(static_cast<FAttrList*>(frame.object));
            return;
        }
        FAttributes* target = parent.target;
        if (!target)
            return;
        const char* name = frame.name.c_str();
        switch (frame.type)
        {
        case FAttrType::kInt:
            // A repeated integer is a repeated attribute (a speaker list, say): kept whole.
            if (target->getType(name) == FAttrType::kInt)
                target->appendInt(name, frame.intValue);
            else
                target->setInt(name, frame.intValue);
            break;
        case FAttrType::kFloat:
            target->setFloat(name, frame.floatValue);
            break;
        case FAttrType::kString:
            target->setString(name, decodeText(frame.hasValue ? frame.value : frame.content,
                                               frame.wide, frame.escaped));
            break;
        case FAttrType::kList:
            target->setList(name, static_cast<FAttrList*>(frame.object));
            break;
        case FAttrType::kObject:
            if (frame.object)
                target->setObject(name, static_cast<FXmlObject*>(frame.object));
            break;
        case FAttrType::kReference:
            target->setReference(name, frame.number);
            break;
        case FAttrType::kBuffer:
        {
            std::vector<uint8> bytes;
            if (!decodeBase64(frame.content, bytes))
                return stop("bad binary data in <bin name=\"" + frame.name + "\">");
            target->setBuffer(name, bytes.data(), int64(bytes.size()));
            break;
        }
        case FAttrType::kIntList:
            target->setIntList(name, static_cast<FIntList*>(frame.object));
            break;
        case FAttrType::kFloatList:
            target->setFloatList(name, static_cast<FFloatList*>(frame.object));
            break;
        case FAttrType::kStringList:
            target->setStringList(name, static_cast<FStringList*>(frame.object));
            break;
        case FAttrType::kObjectList:
            target->setObjectList(name, static_cast<FObjectList*>(frame.object));
            break;
        case FAttrType::kSubList:
            target->setSubList(name, static_cast<FSubList*>(frame.object));
            break;
        case FAttrType::kNone:
            break;
        }
    }

    FAttributes& document;
    FXmlParser* parser = nullptr;
    const char** attributes = nullptr;
    std::vector<std::unique_ptr<Frame>> frames;
};

} // namespace

bool FAttributes::readXml(IBStream* stream, std::string* error)
{
    clear();
    AttrReader reader(*this);
    FXmlParser parser(reader);
    reader.setParser(&parser);
    bool ok = parser.parse(stream);
    if (error)
        *error = ok ? std::string() : parser.getError();
    return ok;
}

bool FAttributes::readXml(const void* data, size_t size, std::string* error)
{
    clear();
    AttrReader reader(*this);
    FXmlParser parser(reader);
    reader.setParser(&parser);
    bool ok = parser.parse(data, size, true);
    if (error)
        *error = ok ? std::string() : parser.getError();
    return ok;
}

} // namespace Quillmark
