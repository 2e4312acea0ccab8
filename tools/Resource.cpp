#include "Resource.h"

#include "Capabilities.h"
#include "ErrorNames.h"
#include "Errors.h"

namespace recognize {

namespace {

std::string WhyNot(Lexo_ErrCode code, const std::string& capability) {
    switch (code) {
        case LEXO_ERR_PARAM_INVALID:
        case LEXO_ERR_NOT_SUPPORT:
            return "the engine takes no such resource for capability " +
                   std::string(ShortCapabilityName(capability));
        default:
            return MeaningOf(code);
    }
}

}  // namespace

Resource::Resource(const std::string& capability, const ResourceChoice& choice,
                   const ResourceData& data)
    : capability_(capability), choice_(choice), description_(choice.Typed()) {
    if (!choice.IsFile()) {
        return;
    }
    description_ += " as " + ResourceFormatName(data.format);
    bytes_ = data.bytes.size();
    const Lexo_ErrCode code =
        orvx_proxy_LoadResource(capability.c_str(), LEXO_RESOURCE_BUFFER, data.bytes.data(),
                                static_cast<int>(data.bytes.size()), data.format, &id_);
    if (code != LEXO_ERR_NONE) {
        throw EngineError(code, description_ + ": " + WhyNot(code, capability));
    }
}

Resource::~Resource() {
    if (id_ != 0) {
        orvx_proxy_UnloadResource(capability_.c_str(), id_);  // End tells when it is still loaded
    }
}

void Resource::BindTo(Lexo_Handle session) const {
    Lexo_ErrCode code = LEXO_ERR_NONE;
    if (choice_.kind == ResourceKind::kNamed) {
        code = orvx_proxy_ActivePreloadResource(session, choice_.argument.c_str());
    } else if (id_ != 0) {
        code = orvx_proxy_ActiveResource(session, id_);
    }
    if (code != LEXO_ERR_NONE) {
        throw EngineError(code, description_ + ": " + WhyNot(code, capability_));
    }
}

void Resource::ReleaseFrom(Lexo_Handle session) const {
    if (choice_.kind != ResourceKind::kNone) {
        orvx_proxy_DeactiveResource(session);
    }
}

}  // namespace recognize
