// Parameters of an XRV image; empty for other formats.
#pragma once

#include "ViewMetadataJp2.h"

namespace PLK {
namespace ViewMetadata {

class ViewMetadataXRV {
public:
    /// Width and height of the compression blocks.
    Size Blocksize() const { return m_blockSize; }

    Size m_blockSize;
};

}  // namespace ViewMetadata
}  // namespace PLK
