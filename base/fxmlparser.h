// A thin event parser over Expat: start tags with their attributes, end tags and character
// data go to a handler, which may stop the parse with its own reason. One parser reads one
// document; the handler is borrowed. Document type declarations are refused.
#pragma once

#include "qel3/ibstream.h"

#include <string>

namespace Quillmark
{

class FXmlParser
{
public:
    class Handler
    {
    public:
        virtual ~Handler() = default;
        /** `attributes` alternates names and values and ends with null; all texts UTF-8. */
        virtual void startElement(const char* name, const char** attributes) = 0;
        virtual void endElement(const char* name) = 0;
        /** Text between tags, possibly in several pieces. */
        virtual void characterData(const char* text, int32 length) {}
    };

    explicit FXmlParser(Handler& handler);
    ~FXmlParser();
    FXmlParser(const FXmlParser&) = delete;
    FXmlParser& operator=(const FXmlParser&) = delete;

    /** Feeds one piece of the document; `isFinal` with the last one. False on an error. */
    bool parse(const void* data, size_t size, bool isFinal);
    /** Reads the stream to its end and parses it. False on an error or a failed read. */
    bool parse(IBStream* stream);

    /** Called from a handler: the parse ends with `reason` as its error. */
    void stop(const std::string& reason);

    /** "<reason> at line L, column C", empty when no error happened. */
    const std::string& getError() const { return error; }
    /** Line and column (both from 1) where the parse stopped, 0 when it did not. */
    int64 getErrorLine() const { return errorLine; }
    int64 getErrorColumn() const { return errorColumn; }
    /** Line and column of the current event, for a handler's own messages. */
    int64 currentLine() const;
    int64 currentColumn() const;

    /** The value of attribute `name`, or null. */
    static const char* findAttribute(const char** attributes, const char* name);

private:
    void fail(const std::string& reason);

    void* parser; // XML_Parser, kept out of this header
    Handler& handler;
    std::string error;
    std::string stopReason;
    int64 errorLine = 0;
    int64 errorColumn = 0;
    bool failed = false;

    friend struct FXmlParserCallbacks;
};

} // namespace Quillmark
