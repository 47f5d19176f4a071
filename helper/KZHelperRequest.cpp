#include "KZHelperRequest.h"

#include "protocol/KZCbor.h"

namespace {

using KZHelperProtocol::HelperError;

// Reads an optional array of byte strings (paths); false when present and not that.
bool readPaths(const KZCborValue &map, std::string_view key, std::vector<std::string> *paths,
               std::uint64_t *countable)
{
    const KZCborValue *value = map.find(key);
    if (!value)
        return true;
    if (!value->isArray())
        return false;
    *countable += value->toArray().size();
    for (const KZCborValue &path : value->toArray()) {
        if (!path.isBytes() || path.toString().empty())
            return false;
        paths->push_back(path.toString());
    }
    return true;
}

bool bad(KZHelperRequest::Failure *failure, std::string description)
{
    failure->code = HelperError::BadArguments;
    failure->description = std::move(description);
    return false;
}

} // namespace

bool KZHelperRequest::parse(std::string_view payload, KZHelperRequest *request, Failure *failure)
{
    namespace P = KZHelperProtocol;
    KZCborValue message;
    std::string error;
    if (!KZCbor::decode(payload, &message, &error)) {
        failure->code = HelperError::MalformedFrame;
        failure->description = "The message could not be decoded: " + error;
        return false;
    }
    const KZCborValue *name = message.find(P::kMessage);
    if (!message.isMap() || !name || !name->isText()) {
        failure->code = HelperError::MalformedFrame;
        failure->description = "The frame is not a map naming its message.";
        return false;
    }
    failure->message = name->toString();

    KZHelperRequest parsed;
    if (name->toString() == P::kGetVersionMessage) {
        parsed.kind = Kind::GetVersion;
    } else if (name->toString() == P::kSetStoppedMessage) {
        parsed.kind = Kind::SetStopped;
        const KZCborValue *stopped = message.find(P::kStopped);
        if (!stopped || !stopped->isBool())
            return bad(failure, "setStoppedByUser: needs a boolean.");
        parsed.stopped = stopped->toBool();
    } else if (name->toString() == P::kUnlockItemsMessage) {
        parsed.kind = Kind::UnlockItems;
        std::uint64_t count = 0;
        if (!message.find(P::kUnlockArray)
            || !readPaths(message, P::kUnlockArray, &parsed.unlockArray, &count))
            return bad(failure, "unlockItemsWithArray: needs an array of paths.");
    } else if (name->toString() == P::kEraseMessage) {
        parsed.kind = Kind::Erase;
        const KZCborValue *items = message.find(P::kItemsDictionary);
        if (items && items->isMap()) {
            // Count what can be counted first, so that even a refused batch reports how many
            // of its items stay.
            for (std::string_view key : {P::kUnlockItems, P::kPermissionsItems}) {
                const KZCborValue *list = items->find(key);
                if (list && list->isArray())
                    failure->itemCount += list->toArray().size();
            }
        }
        const KZCborValue *authorization = message.find(P::kAuthorization);
        if (!authorization || !authorization->isBytes())
            return bad(failure, "The authorization is missing.");
        parsed.authorization = authorization->toString();
        if (!items || !items->isMap())
            return bad(failure, "The items dictionary is missing.");
        std::uint64_t count = 0;
        if (!readPaths(*items, P::kUnlockItems, &parsed.unlockItems, &count)
            || !readPaths(*items, P::kPermissionsItems, &parsed.permissionsItems, &count)
            || !readPaths(*items, P::kNotTrashed, &parsed.notTrashed, &count))
            return bad(failure, "An item list is not an array of paths.");
        const KZCborValue *size = items->find(P::kErasedSize);
        const KZCborValue *erased = items->find(P::kErasedCount);
        const KZCborValue *secure = items->find(P::kEraseSecurely);
        if ((size && !size->isUnsigned()) || (erased && !erased->isUnsigned())
            || (secure && !secure->isBool()))
            return bad(failure, "A total or the secure flag has the wrong type.");
        parsed.erasedSize = size ? size->toUnsigned() : 0;
        parsed.erasedCount = erased ? erased->toUnsigned() : 0;
        parsed.eraseSecurely = secure && secure->toBool();
    } else {
        failure->code = HelperError::UnknownMessage;
        failure->description = "Unknown message \"" + name->toString() + "\".";
        return false;
    }
    *request = std::move(parsed);
    return true;
}
