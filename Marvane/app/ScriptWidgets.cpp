#include "Marvane/app/ScriptWidgets.h"

#include <QAbstractButton>
#include <QApplication>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QSlider>
#include <QTreeView>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>
#include <sstream>

namespace host {

namespace {

std::string Text(const QVariant& value) {
    return value.toString().toStdString();
}

QWidget* FindWidget(QWidget& window, const std::string& name) {
    return window.findChild<QWidget*>(QString::fromStdString(name));
}

int SectionTitled(const QHeaderView& header, const std::string& title) {
    for (int section = 0; section < header.count(); ++section) {
        if (Text(header.model()->headerData(section, Qt::Horizontal)) == title) {
            return section;
        }
    }
    return -1;
}

void CollectRows(const QTreeView& tree, const QModelIndex& parent, const std::string& indent,
                 std::vector<std::string>& rows, std::vector<QModelIndex>& indexes) {
    const QAbstractItemModel& model = *tree.model();
    for (int row = 0; row < model.rowCount(parent); ++row) {
        const QModelIndex index = model.index(row, 0, parent);
        rows.push_back(indent + Text(model.data(index)));
        indexes.push_back(index);
        if (tree.isExpanded(index)) {
            CollectRows(tree, index, indent + ">", rows, indexes);
        }
    }
}

// The row reachable through open folders whose first column reads text (without indent).
QModelIndex RowReading(const QTreeView& tree, const std::string& text) {
    std::vector<std::string> rows;
    std::vector<QModelIndex> indexes;
    CollectRows(tree, QModelIndex(), "", rows, indexes);
    for (std::size_t index = 0; index < rows.size(); ++index) {
        if (rows[index].substr(rows[index].find_first_not_of('>')) == text) {
            return indexes[index];
        }
    }
    return {};
}

std::string Rows(const QTreeView& tree) {
    std::vector<std::string> rows;
    std::vector<QModelIndex> indexes;
    CollectRows(tree, QModelIndex(), "", rows, indexes);
    std::string text = "ok count=" + std::to_string(rows.size()) + " ";
    for (std::size_t index = 0; index < rows.size(); ++index) {
        text += (index == 0 ? "" : "|") + rows[index];
    }
    return text;
}

std::string Columns(const QTreeView& tree) {
    const QHeaderView& header = *tree.header();
    std::string text = "ok ";
    for (int position = 0; position < header.count(); ++position) {
        const int section = header.logicalIndex(position);
        text += (position == 0 ? "" : "|") +
                Text(header.model()->headerData(section, Qt::Horizontal)) + ":" +
                std::to_string(header.sectionSize(section));
    }
    const int sorted = header.sortIndicatorSection();
    text += " sort=" + Text(header.model()->headerData(sorted, Qt::Horizontal)) +
            (header.sortIndicatorOrder() == Qt::AscendingOrder ? " asc" : " desc");
    const QModelIndex first = tree.model()->index(0, 0);
    if (first.isValid()) {
        text += " row-height=" + std::to_string(tree.visualRect(first).height());
    }
    return text;
}

std::string OnTree(QTreeView& tree, const std::vector<std::string>& fields) {
    const std::string& verb = fields[1];
    QHeaderView& header = *tree.header();
    if (verb == "rows") {
        return Rows(tree);
    }
    if (verb == "columns") {
        return Columns(tree);
    }
    if (verb == "frame" && fields.size() == 4) {
        const QModelIndex index = RowReading(tree, fields[3]);
        if (!index.isValid()) {
            return "error no row " + fields[3];
        }
        tree.scrollTo(index);
        const QRect cell = tree.visualRect(index);
        const QPoint topLeft = tree.viewport()->mapToGlobal(cell.topLeft());
        return "ok " + std::to_string(topLeft.x()) + " " + std::to_string(topLeft.y()) + " " +
               std::to_string(cell.width()) + " " + std::to_string(cell.height());
    }
    if (verb == "tooltip" && fields.size() == 4) {
        const QModelIndex index = RowReading(tree, fields[3]);
        if (!index.isValid()) {
            return "error no row " + fields[3];
        }
        // What the pointer would show over the cells of the row, each text once, on one line.
        std::vector<QString> tips;
        for (int column = 0; column < tree.model()->columnCount(index.parent()); ++column) {
            const QString tip =
                tree.model()->data(index.siblingAtColumn(column), Qt::ToolTipRole).toString();
            if (!tip.isEmpty() && std::find(tips.begin(), tips.end(), tip) == tips.end()) {
                tips.push_back(tip);
            }
        }
        std::string text = "ok";
        for (QString tip : tips) {
            text += " " + tip.replace(QLatin1Char('\n'), QStringLiteral(" | ")).toStdString();
        }
        return text;
    }
    if ((verb == "open" || verb == "select") && fields.size() >= 4) {
        if (verb == "select") {
            tree.selectionModel()->select(QItemSelection(), QItemSelectionModel::Clear);
        }
        for (std::size_t field = 3; field < fields.size(); ++field) {
            const QModelIndex index = RowReading(tree, fields[field]);
            if (!index.isValid()) {
                return "error no row " + fields[field];
            }
            if (verb == "open") {
                tree.expand(index);
            } else {
                tree.selectionModel()->select(index, QItemSelectionModel::Select |
                                                         QItemSelectionModel::Rows);
            }
        }
        return "ok";
    }
    if (fields.size() >= 4 &&
        (verb == "resize-column" || verb == "move-column" || verb == "sort")) {
        const int section = SectionTitled(header, fields[3]);
        if (section < 0) {
            return "error no column " + fields[3];
        }
        if (verb == "sort") {
            emit header.sectionClicked(section);
            return "ok";
        }
        if (fields.size() != 5) {
            return "error a number is missing";
        }
        const int number = std::stoi(fields[4]);
        if (verb == "resize-column") {
            header.resizeSection(section, number);
        } else {
            header.moveSection(header.visualIndex(section), number);
        }
        return "ok";
    }
    if (verb == "wheel" && fields.size() == 5) {
        const QPoint at = tree.viewport()->rect().center();
        const auto delta = static_cast<int>(std::lround(std::stod(fields[3]) * 120));
        QWheelEvent event(at, tree.viewport()->mapToGlobal(at), QPoint(), QPoint(0, delta),
                          Qt::NoButton, fields[4] == "ctrl" ? Qt::ControlModifier : Qt::NoModifier,
                          Qt::NoScrollPhase, false);
        QApplication::sendEvent(tree.viewport(), &event);
        return "ok";
    }
    return "error unknown tree command " + verb;
}

} // namespace

std::string RunWidgetCommand(QWidget& window, const std::vector<std::string>& fields) {
    if (fields.size() < 3) {
        return "error ui VERB NAME ...";
    }
    const std::string& verb = fields[1];
    QWidget* widget =
        window.objectName().toStdString() == fields[2] ? &window : FindWidget(window, fields[2]);
    if (widget == nullptr) {
        return "error no widget " + fields[2];
    }
    if (verb == "focus") {
        QApplication::setActiveWindow(&window);
        widget->setFocus(Qt::OtherFocusReason);
        return widget->hasFocus() ? "ok" : "error the widget did not take the focus";
    }
    if (verb == "shown") {
        return std::string("ok ") + (widget->isVisible() ? "1" : "0") +
               " enabled=" + (widget->isEnabled() ? "1" : "0");
    }
    if (verb == "size") {
        return "ok " + std::to_string(widget->width()) + " " + std::to_string(widget->height());
    }
    if (verb == "resize" && fields.size() == 5) {
        widget->resize(std::stoi(fields[3]), std::stoi(fields[4]));
        return "ok";
    }
    if (auto* tree = qobject_cast<QTreeView*>(widget)) {
        return OnTree(*tree, fields);
    }
    if (auto* menu = qobject_cast<QMenu*>(widget)) {
        // The menu as it would open: filled afresh, then its entries (separators left out).
        emit menu->aboutToShow();
        std::string text = "ok";
        for (QAction* action : menu->actions()) {
            if (action->isSeparator()) {
                continue;
            }
            if (verb == "trigger" && fields.size() == 4 &&
                action->text().toStdString().find(fields[3]) != std::string::npos) {
                action->trigger();
                return "ok";
            }
            text += (text == "ok" ? " " : "|") + action->text().toStdString() +
                    (action->isEnabled() ? "" : " (disabled)");
        }
        if (verb == "actions") {
            return text;
        }
        if (verb == "trigger") {
            return "error no entry holds " + (fields.size() == 4 ? fields[3] : std::string());
        }
    }
    if (auto* field = qobject_cast<QLineEdit*>(widget)) {
        if (verb == "set") {
            field->setFocus();
            field->setText(QString::fromStdString(fields.size() > 3 ? fields[3] : std::string()));
            return "ok";
        }
        if (verb == "key" && fields.size() == 4 && fields[3] == "escape") {
            QKeyEvent press(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
            QApplication::sendEvent(field, &press);
            return "ok";
        }
        if (verb == "text") {
            return "ok " + field->text().toStdString();
        }
    }
    if (auto* label = qobject_cast<QLabel*>(widget); label != nullptr && verb == "text") {
        // One answer is one line: a label's line breaks are given as " | ".
        return "ok " +
               label->text().replace(QLatin1Char('\n'), QStringLiteral(" | ")).toStdString();
    }
    if (auto* slider = qobject_cast<QSlider*>(widget)) {
        if (verb == "slider" && fields.size() == 4) {
            const double value = std::stod(fields[3]);
            slider->setSliderDown(true);
            slider->setValue(static_cast<int>(std::lround(value * slider->maximum())));
            slider->setSliderDown(false);
            return "ok";
        }
        if (verb == "value") {
            std::ostringstream text;
            text << "ok " << static_cast<double>(slider->value()) / slider->maximum();
            return text.str();
        }
    }
    if (auto* button = qobject_cast<QAbstractButton*>(widget);
        button != nullptr && verb == "click") {
        button->click();
        return "ok";
    }
    return "error " + verb + " does not apply to " + fields[2];
}

} // namespace host
