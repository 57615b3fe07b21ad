// Words the user sees when a JPEG 2000 file cannot be shown. The readers below report a bare
// detail ("tile 3 is missing"); this turns it into a sentence that names the file.
#pragma once

#include <string>

#include "CError.h"

namespace PLK {
namespace Engine {

class Jp2Messages {
public:
    enum class Part { Container, Codestream };

    /// `detail`'s code decides the sentence; `part` says whether the boxes or the code-stream
    /// are damaged.
    static CError explain(const CError& detail, const std::string& name, Part part);
    static CError cancelled();
};

}  // namespace Engine
}  // namespace PLK
