// Per-view decoding choices. Set from any thread; a change takes effect at the next pass or
// line read of the view.
#pragma once

#include <atomic>

#include "PLKTypes.h"

namespace PLK {
namespace ViewParameters {

class ViewParametersDecompress {
public:
    void SetResampleMethod(PLKResampleMethod m) { m_resample = m; }
    PLKResampleMethod GetResampleMethod() const { return m_resample; }
    /// Ordered dither over the decoded texture, which hides banding and block edges at strong
    /// compression.
    void SetReaderDitherEnabled(bool b) { m_dither = b; }
    bool GetReaderDitherEnabled() const { return m_dither; }
    /// Stretch an opacity band of fewer than 8 bits (1-bit masks) to the full 0..255 range.
    void SetAutoscaleOpacitybandUpEnabled(bool b) { m_autoscaleOpacity = b; }
    bool GetAutoscaleOpacitybandUpEnabled() const { return m_autoscaleOpacity; }

private:
    std::atomic<PLKResampleMethod> m_resample{PLK_RESAMPLE_NEAREST};
    std::atomic<bool> m_dither{false};
    std::atomic<bool> m_autoscaleOpacity{false};
};

namespace ViewParametersJp2 {

class ViewParametersJp2Decompress {
public:
    /// Decode only the first n quality layers (0 = all of them).
    void SetLayersToDecode(int n) { m_layers = n < 0 ? 0 : n; }
    int GetLayersToDecode() const { return m_layers; }

private:
    std::atomic<int> m_layers{0};
};

}  // namespace ViewParametersJp2
}  // namespace ViewParameters
}  // namespace PLK
