#include "Marvane/uiframework/MenuResources.h"

#include "Marvane/uiframework/CommandDispatch.h"
#include "host/DebugTrace.h"
#include "host/Localizer.h"
#include "host/UIFramework.h"

#include <QAction>
#include <QFile>
#include <map>
#include <nlohmann/json.hpp>

namespace host {

namespace {

const std::map<ByteString, std::vector<MenuItem>>& MenuTable() {
    static const std::map<ByteString, std::vector<MenuItem>> table = [] {
        std::map<ByteString, std::vector<MenuItem>> menus;
        QFile file(QStringLiteral(":/menus/menus.json"));
        if (!file.open(QIODevice::ReadOnly)) {
            Trace("Host", 1, "The menu resource is missing");
            return menus;
        }
        const QByteArray bytes = file.readAll();
        const auto json = nlohmann::json::parse(bytes.constBegin(), bytes.constEnd(), nullptr,
                                                /*allow_exceptions=*/false);
        if (!json.is_object()) {
            Trace("Host", 1, "The menu resource is not a JSON object");
            return menus;
        }
        for (const auto& [id, items] : json.items()) {
            std::vector<MenuItem>& menu = menus[id];
            for (const auto& item : items) {
                if (item.is_string() && item.get<std::string>() == "-") {
                    menu.push_back(MenuItem{true, {}, {}, false});
                } else if (item.is_object()) {
                    menu.push_back(MenuItem{false, item.value("command", ""),
                                            item.value("label", ""),
                                            item.value("checkable", false)});
                }
            }
        }
        return menus;
    }();
    return table;
}

} // namespace

std::vector<MenuItem> FindMenuResource(const ByteString& menuID) {
    const auto found = MenuTable().find(menuID);
    return found == MenuTable().end() ? std::vector<MenuItem>{} : found->second;
}

QAction* AddCommandAction(QMenu* menu, const ByteString& commandName, const ByteString& labelKey,
                          bool checkable) {
    const CommandDeclaration* declaration = ShortcutManager::Instance().FindCommand(commandName);
    if (declaration == nullptr) {
        Trace("Host", 3, "Menu item for an undeclared command: " + commandName);
        return nullptr;
    }
    const ByteString text =
        !declaration->label.empty() ? Localize(declaration->label) : Localize(labelKey);
    QAction* action = menu->addAction(QString::fromStdString(text));
    const CommandID id = declaration->id;
    action->setData(id);
    action->setCheckable(checkable || declaration->kind == kCommandKindToggle);
    QObject::connect(action, &QAction::triggered, action,
                     [id] { CommandDispatcher::Instance().Obey(id); });
    QObject::connect(menu, &QMenu::aboutToShow, action, [action, id] {
        const CommandStatus status = CommandDispatcher::Instance().FindStatus(id);
        action->setEnabled(status.enabled);
        if (action->isCheckable()) {
            action->setChecked(status.checked);
        }
        if (!status.label.empty()) {
            action->setText(QString::fromStdString(status.label));
        }
    });
    return action;
}

QMenu* BuildMenu(const ByteString& menuID, QWidget* parent) {
    const std::vector<MenuItem> items = FindMenuResource(menuID);
    if (items.empty()) {
        return nullptr;
    }
    auto* menu = new QMenu(parent);
    for (const MenuItem& item : items) {
        if (item.separator) {
            menu->addSeparator();
        } else {
            AddCommandAction(menu, item.command, item.label, item.checkable);
        }
    }
    return menu;
}

} // namespace host
