#include "jp2/Jp2Messages.h"

namespace PLK {
namespace Engine {

CError Jp2Messages::explain(const CError& detail, const std::string& name, Part part)
{
    const std::string quoted = "'" + name + "'";
    switch (detail.GetErrorNumber()) {
        case PLK_SUCCESS:
            return detail;
        case PLK_ERROR_NOT_SUPPORTED_FORMAT:
            return CError(PLK_ERROR_NOT_SUPPORTED_FORMAT, quoted + " is not a JPEG 2000 file.");
        case PLK_ERROR_UNSUPPORTED_FEATURE:
            return CError(PLK_ERROR_UNSUPPORTED_FEATURE,
                          quoted + " uses a JPEG 2000 feature that is not supported: " + detail.message() + ".");
        case PLK_ERROR_CORRUPT_CODESTREAM:
            return CError(
                PLK_ERROR_CORRUPT_CODESTREAM,
                (part == Part::Container ? "The JPEG 2000 file " + quoted : "The JPEG 2000 code-stream of " + quoted) +
                    " is damaged: " + detail.message() + ".");
        case PLK_ERROR_FILE_READ:
            return CError(PLK_ERROR_FILE_READ, "The file " + quoted + " cannot be read.");
        default:
            return detail;
    }
}

CError Jp2Messages::cancelled()
{
    return CError(PLK_ERROR_CANCELLED, "The decode was cancelled.");
}

}  // namespace Engine
}  // namespace PLK
