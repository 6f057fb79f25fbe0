#include "ui/genericeditorview.h"

#include "app/info/genericeditor.h"
#include "ui/valuebinder.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSlider>
#include <QSpinBox>
#include <QVBoxLayout>

namespace Quillmark
{

namespace
{

QString qtText(const String& text)
{
    return QString::fromStdString(text.toUtf8());
}

bool condition(const GenericEditor& editor, const char* name, int number)
{
    return editor.testCondition(String((std::string(name) + std::to_string(number)).c_str()));
}

} // namespace

GenericEditorView::GenericEditorView(GenericEditor& editor, QWidget* parent)
    : QWidget(parent), editor(editor), binder(new ValueBinder(this))
{
}

GenericEditorView::~GenericEditorView()
{
    binder->unbindAll();
}

int GenericEditorView::countBindings() const
{
    return binder->countBindings();
}

GenericEditorView* GenericEditorView::create(GenericEditor& editor, const SkinLoader& skins,
                                             QWidget* parent, QString* error)
{
    auto* view = new GenericEditorView(editor, parent);
    if (!view->build(skins, error))
    {
        delete view;
        return nullptr;
    }
    return view;
}

bool GenericEditorView::build(const SkinLoader& skins, QString* error)
{
    QWidget* form = skins.load("genericEditor", this, error);
    if (!form)
        return false;
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(form);
    // The frame starts at 550 by 400 and never grows higher; a longer list scrolls in it.
    setMinimumSize(kWidth, kHeight);
    setMaximumHeight(kHeight);

    auto* grid = form->findChild<QGridLayout*>("parameterGrid");
    QWidget* rows = form->findChild<QWidget*>("parameters");
    if (!grid || !rows)
    {
        if (error)
            *error = "The skin template \"genericEditor\" has no \"parameterGrid\"";
        return false;
    }
    for (int n = 0; condition(editor, "hasParam", n); ++n)
    {
        ParamValueProxy* proxy = editor.getProxy(n);
        if (!proxy)
            break;
        const QString number = QString::number(n);
        auto* title = new QLabel(rows);
        title->setObjectName("title" + number);
        auto* unit = new QLabel(rows);
        unit->setObjectName("unit" + number);
        QWidget* control = nullptr;
        if (condition(editor, "isToggle", n))
            control = new QCheckBox(rows);
        else if (condition(editor, "isList", n))
        {
            // Each step by the plug-in's own name for it.
            auto* list = new QComboBox(rows);
            const int steps = proxy->getStepCount();
            for (int step = 0; step <= steps; ++step)
            {
                String text;
                if (!editor.paramText(proxy->getParamId(), steps > 0 ? double(step) / steps : 0.0,
                                      text))
                    text = String(std::to_string(step).c_str());
                list->addItem(qtText(text));
            }
            control = list;
        }
        else if (condition(editor, "isDiscrete", n))
            control = new QSpinBox(rows);
        else
        {
            auto* slider = new QSlider(Qt::Horizontal, rows);
            slider->setMinimumWidth(220);
            control = slider;
        }
        control->setObjectName("param" + number);
        auto* text = new QLineEdit(rows);
        text->setObjectName("param" + number + "Text");
        text->setMaximumWidth(120);
        if (condition(editor, "isReadOnly", n))
            text->setReadOnly(true);
        grid->addWidget(title, n, 0);
        grid->addWidget(control, n, 1);
        grid->addWidget(text, n, 2);
        grid->addWidget(unit, n, 3);
        // The text field shows and takes the plug-in's text of the same value.
        binder->bindWidget(text, proxy);
    }
    grid->setColumnStretch(1, 1);
    grid->setRowStretch(grid->rowCount(), 1);
    binder->bind(form, [this](const std::string& name)
                 { return editor.findValue(String(name.c_str())); });
    return true;
}

} // namespace Quillmark
