// What a CView does: holds the open image and the current view, runs the passes of a
// progressive view, and serves the lines of the newest picture.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "CError.h"
#include "CFileBase.h"
#include "CMinMaxTransform.h"
#include "PLKTypes.h"
#include "ViewParametersDecompress.h"
#include "image/OpenImage.h"
#include "view/Frame.h"
#include "view/ProgressiveWorker.h"
#include "view/ViewSnapshot.h"

namespace PLK {
class CView;

namespace Engine {

class ViewEngine {
public:
    explicit ViewEngine(CView& owner);
    ~ViewEngine();

    CError open(const std::string& name, bool progressive, bool headerOnly, const OpenSettings& settings);
    CError close(bool freeCache);
    bool isOpen() const { return m_image != nullptr; }
    const std::shared_ptr<OpenImage>& image() const { return m_image; }
    SDK::CFileBase* file() const { return m_file.get(); }
    const std::string& name() const { return m_name; }

    CError setView(const std::vector<uint32_t>& bands, int width, int height, double x1, double y1, double x2,
                   double y2, const ViewSettings& settings);
    PLKSetViewInfo setViewInfo() const;
    bool isViewSet() const;
    bool isProgressive() const { return m_progressive; }
    bool isReadCancelPending() const;
    bool isClosePending() const { return m_closing.load(); }

    PLKReadStatus readLineBGRA(uint8_t* line);
    PLKReadStatus readLineBIL(uint8_t** lines, PLKCellType type);
    uint8_t percentComplete() const;
    uint32_t blocksAvailable() const { return m_blocksAvailable.load(); }
    uint32_t blocksInView() const { return m_blocksInView.load(); }

    CError clearTransforms();
    CError calculateTransforms(uint32_t count, const uint32_t* bands, std::vector<API::CMinMaxTransform*>& out,
                               double clipPercent);
    CError setTransform(uint32_t band, const API::CMinMaxTransform* transform);
    CError statistics(PLKFileStatistics*& out);

    ViewParameters::ViewParametersDecompress& parameters() { return m_parameters; }
    ViewParameters::ViewParametersJp2::ViewParametersJp2Decompress& jp2Parameters() { return m_jp2Parameters; }

private:
    struct Delivery;
    /// The pass a refresh callback on this thread is delivering, if any.
    static thread_local Delivery* s_delivery;
    struct BlockingReader {
        std::shared_ptr<const Frame> frame;
        ViewSnapshot view;
        uint32_t nextLine = 0;
    };

    ViewSnapshot snapshot() const;
    /// The set-view record of `view`, with the current block counters. The band list points
    /// into `view`.
    PLKSetViewInfo describe(const ViewSnapshot& view) const;
    std::shared_ptr<std::atomic<bool>> currentCancel() const;
    void runPasses(uint64_t generation);
    bool deliver(const ViewSnapshot& view, const Frame& frame);
    /// The frame and line to read next: the pass being delivered inside a refresh callback,
    /// else the blocking reader's frame (made now when needed).
    const Frame* nextLine(uint32_t& line, PLKReadStatus& status);
    PLKReadStatus prepareBlockingFrame();
    void updateCounters(const ViewSnapshot& view, uint32_t level);
    /// Logs a failure of a picture the first time it happens while the image is open.
    void reportOnce(const CError& error);

    CView& m_owner;
    std::shared_ptr<OpenImage> m_image;
    std::unique_ptr<SDK::CFileBase> m_file;
    std::string m_name;
    bool m_progressive = false;
    bool m_headerOnly = false;

    mutable std::mutex m_mutex;  ///< guards the view fields below
    ViewSnapshot m_view;
    bool m_viewSet = false;
    std::vector<BandTransform> m_transforms;
    std::vector<std::unique_ptr<API::CMinMaxTransform>> m_calculated;
    std::shared_ptr<std::atomic<bool>> m_cancel;

    std::mutex m_readMutex;  ///< one blocking read at a time
    BlockingReader m_reader;

    ViewParameters::ViewParametersDecompress m_parameters;
    ViewParameters::ViewParametersJp2::ViewParametersJp2Decompress m_jp2Parameters;
    std::atomic<uint32_t> m_blocksInView{0};
    std::atomic<uint32_t> m_blocksAvailable{0};
    std::atomic<bool> m_counted{false};  ///< the counters describe the current view
    std::atomic<bool> m_closing{false};
    std::atomic<int64_t> m_lastDeliveryMs{0};
    std::unique_ptr<ProgressiveWorker> m_worker;
    Frame m_passFrame;  ///< the progressive worker's picture, kept from pass to pass
    std::mutex m_reportMutex;
    std::set<std::string> m_reported;
};

}  // namespace Engine
}  // namespace PLK
