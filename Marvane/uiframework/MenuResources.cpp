#include "Marvane/uiframework/MenuResources.h"

#include "Marvane/uiframework/CommandDispatch.h"
#include "Marvane/uiframework/DialogResponder.h"
#include "host/DebugTrace.h"
#include "host/Localizer.h"
#include "host/UIFramework.h"

#include <QAction>
#include <QApplication>
#include <QCursor>
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

const std::map<ByteString, std::vector<QKeySequence>>& ShortcutTable() {
    static const std::map<ByteString, std::vector<QKeySequence>> table = [] {
        std::map<ByteString, std::vector<QKeySequence>> shortcuts;
        QFile file(QStringLiteral(":/menus/shortcuts.json"));
        if (!file.open(QIODevice::ReadOnly)) {
            Trace("Host", 1, "The shortcut resource is missing");
            return shortcuts;
        }
        const QByteArray bytes = file.readAll();
        const auto json = nlohmann::json::parse(bytes.constBegin(), bytes.constEnd(), nullptr,
                                                /*allow_exceptions=*/false);
        if (!json.is_object()) {
            Trace("Host", 1, "The shortcut resource is not a JSON object");
            return shortcuts;
        }
        for (const auto& [command, keys] : json.items()) {
            for (const auto& key : keys) {
                if (key.is_string()) {
                    shortcuts[command].push_back(
                        QKeySequence::fromString(QString::fromStdString(key.get<std::string>()),
                                                 QKeySequence::PortableText));
                }
            }
        }
        return shortcuts;
    }();
    return table;
}

} // namespace

std::vector<QKeySequence> FindCommandShortcuts(const ByteString& commandName) {
    const auto found = ShortcutTable().find(commandName);
    return found == ShortcutTable().end() ? std::vector<QKeySequence>{} : found->second;
}

void InstallPanelShortcuts(QWidget* panelContent, const std::function<void()>& focusPanel) {
    for (const auto& [command, keys] : ShortcutTable()) {
        const CommandDeclaration* declaration = ShortcutManager::Instance().FindCommand(command);
        if (declaration == nullptr || keys.empty()) {
            continue;
        }
        auto* action = new QAction(panelContent);
        action->setObjectName(QString::fromStdString("Shortcut:" + command));
        action->setShortcuts(QList<QKeySequence>(keys.begin(), keys.end()));
        action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
        const CommandID id = declaration->id;
        QObject::connect(action, &QAction::triggered, action, [id, focusPanel] {
            focusPanel();
            const CommandDispatcher& dispatcher = CommandDispatcher::Instance();
            if (dispatcher.FindStatus(id).enabled) {
                dispatcher.Obey(id);
            }
        });
        panelContent->addAction(action);
    }
}

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
    QString shown = QString::fromStdString(text);
    if (const std::vector<QKeySequence> keys = FindCommandShortcuts(commandName); !keys.empty()) {
        shown += QLatin1Char('\t') + keys.front().toString(QKeySequence::NativeText);
    }
    QAction* action = menu->addAction(shown);
    const CommandID id = declaration->id;
    action->setData(id);
    action->setCheckable(checkable || declaration->kind == kCommandKindToggle);
    // The status shown may be a moment old (the main window refreshes it a few times a
    // second): a command is asked again before it is carried out.
    QObject::connect(action, &QAction::triggered, action, [id] {
        const CommandDispatcher& dispatcher = CommandDispatcher::Instance();
        if (dispatcher.FindStatus(id).enabled) {
            dispatcher.Obey(id);
        }
    });
    QObject::connect(menu, &QMenu::aboutToShow, action, [action, id] {
        const CommandStatus status = CommandDispatcher::Instance().FindStatus(id);
        action->setEnabled(status.enabled);
        if (action->isCheckable()) {
            action->setChecked(status.checked);
        }
        if (!status.label.empty()) {
            const QString keys = action->text().section(QLatin1Char('\t'), 1);
            action->setText(QString::fromStdString(status.label) +
                            (keys.isEmpty() ? QString() : QLatin1Char('\t') + keys));
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

CommandID TrackContextMenu(const ByteString& menuID) {
    const std::vector<MenuItem> items = FindMenuResource(menuID);
    if (items.empty()) {
        Trace("Host", 2, "TrackContextMenu: no menu " + menuID);
        return 0;
    }
    const CommandDispatcher& dispatcher = CommandDispatcher::Instance();
    if (const std::shared_ptr<DialogResponder> responder = CurrentDialogResponder()) {
        ContextMenuRequest request{menuID, {}};
        for (const MenuItem& item : items) {
            const CommandDeclaration* declaration =
                item.separator ? nullptr : ShortcutManager::Instance().FindCommand(item.command);
            if (declaration == nullptr) {
                continue;
            }
            const CommandStatus status = dispatcher.FindStatus(declaration->id);
            const ByteString text = !status.label.empty()         ? status.label
                                    : !declaration->label.empty() ? Localize(declaration->label)
                                                                  : Localize(item.label);
            request.entries.push_back({item.command, text, status.enabled});
        }
        const ByteString chosen = responder->AnswerContextMenu(request);
        for (const ContextMenuEntry& entry : request.entries) {
            if (!chosen.empty() && entry.command == chosen && entry.enabled) {
                const CommandID id = ShortcutManager::Instance().FindCommand(chosen)->id;
                return dispatcher.Obey(id) ? id : 0;
            }
        }
        return 0;
    }
    QMenu* menu = BuildMenu(menuID, QApplication::activeWindow());
    if (menu == nullptr) {
        return 0;
    }
    // The actions carry their command out when triggered, before exec returns.
    const QAction* chosen = menu->exec(QCursor::pos());
    const CommandID id = chosen != nullptr ? chosen->data().toInt() : 0;
    delete menu;
    return id;
}

} // namespace host
