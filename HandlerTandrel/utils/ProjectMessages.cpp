#include "utils/ProjectMessages.h"

namespace HandlerTandrel::Utils {

const host::ByteString* ProjectPathOfMessage(const host::Message& message) {
    const host::MessageTypeID type = message.GetTypeID();
    if (type == host::ProjectOpenedMessage::kTypeID) {
        return &static_cast<const host::ProjectOpenedMessage&>(message).projectPath;
    }
    if (type == host::ProjectClosedMessage::kTypeID) {
        return &static_cast<const host::ProjectClosedMessage&>(message).projectPath;
    }
    if (type == host::ProjectReadOnlyChangedMessage::kTypeID) {
        return &static_cast<const host::ProjectReadOnlyChangedMessage&>(message).projectPath;
    }
    return nullptr;
}

} // namespace HandlerTandrel::Utils
