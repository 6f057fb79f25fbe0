#include "app/info/infoprinter.h"

#include "app/info/genericeditor.h"
#include "app/info/infopage.h"

#include <ostream>

namespace Quillmark
{

namespace
{

/** A plug-in's text in one cell: tabs and line breaks would split the line, so every control
    character becomes a blank. */
std::string cell(const ConstString& text)
{
    std::string utf8 = text.toUtf8();
    for (char& c : utf8)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F)
            c = ' ';
    return utf8;
}

void printNode(FNode& node, const GTreeInformer& informer, int32 depth, std::ostream& out,
               std::ostream* problems)
{
    for (int32 column = 0; column < informer.countColumns(); ++column)
    {
        if (column > 0)
            out << '\t';
        else
            out << std::string(size_t(depth) * 2, ' ');
        out << cell(informer.getCellText(&node, column));
    }
    out << '\n';
    if (auto* expression = FCast<QelNoteExpressionDisplayData>(&node);
        expression && problems && !expression->getLastProblem().empty())
        *problems << "Qel3PluginTestHost: " << expression->getLastProblem() << '\n';
    for (int32 index = 0; index < node.countChildren(); ++index)
        printNode(*node.getChild(index), informer, depth + 1, out, problems);
}

const char8* styleName(const GenericEditor& editor, int32 number, const ParamValueProxy& proxy)
{
    if (proxy.getStyle() == UValue::kStyleToggle)
        return "toggle";
    if (editor.testCondition(String::format("isList%d", number)))
        return "list";
    if (proxy.getStyle() == UValue::kStyleDiscrete)
        return "discrete";
    return "float";
}

} // namespace

void printInfoPage(const InfoPage& page, std::ostream& out, std::ostream* problems)
{
    const UValueContainer& values = page.getValues();
    for (int32 index = 0; index < values.countValues(); ++index)
    {
        String text;
        values.valueAt(index)->getText(text);
        out << cell(values.nameAt(index)) << '\t' << cell(text) << '\n';
    }
    for (const char8* name : InfoPage::kTreeViewNames)
    {
        InfoPage::TreeView view;
        if (!page.getTreeView(name, view))
            continue;
        out << '\n' << cell(view.title) << '\n';
        for (int32 column = 0; column < view.informer->countColumns(); ++column)
            out << (column > 0 ? "\t" : "") << cell(view.informer->getColumnTitle(column));
        out << '\n';
        printNode(*view.root, *view.informer, 0, out, problems);
        view.informer->release();
    }
}

void printGenericEditor(GenericEditor& editor, std::ostream& out)
{
    out << "\nGeneric Editor\n"
        << "Number\tID\tTitle\tUnit\tStyle\tDefault\tValue\tText\n";
    for (int32 number = 0; number < editor.getParamCount(); ++number)
    {
        ParamValueProxy* proxy = editor.getProxy(number);
        String title, unit, text;
        if (UValue* value = editor.findValue(String::format("title%d", number)))
            value->getText(title);
        if (UValue* value = editor.findValue(String::format("unit%d", number)))
            value->getText(unit);
        proxy->getText(text);
        bool steps = proxy->getStyle() != UValue::kStylePlain;
        String defaultText = steps ? String::format("%d", int32(proxy->getDefault()))
                                   : String::format("%f", proxy->getDefault());
        String valueText =
            steps ? String::format("%d", proxy->getInt()) : String::format("%f", proxy->getFloat());
        out << number << '\t' << proxy->getParamId() << '\t' << cell(title) << '\t' << cell(unit)
            << '\t' << styleName(editor, number, *proxy) << '\t' << cell(defaultText) << '\t'
            << cell(valueText) << '\t' << cell(text) << '\n';
    }
}

} // namespace Quillmark
