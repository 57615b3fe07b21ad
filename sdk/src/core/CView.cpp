#include "CView.h"

#include "image/OpenImage.h"
#include "view/ViewEngine.h"

namespace PLK {

namespace {
const ViewMetadata::ViewMetadataJp2& emptyJp2()
{
    static const ViewMetadata::ViewMetadataJp2 empty;
    return empty;
}
const ViewMetadata::ViewMetadataXRV& emptyXrv()
{
    static const ViewMetadata::ViewMetadataXRV empty;
    return empty;
}
CError notOpen()
{
    return CError(PLK_ERROR_NO_FILE_OPEN, "No image is open in this view.");
}

// The public entry points are the only readers of the global configuration: what they take
// from it goes down to the engine as plain values.
const SDK::CConfig& config()
{
    return SDK::CFileBase::sFilesHelper().Get()->m_Config;
}

Engine::ViewSettings viewSettings()
{
    const SDK::CConfig& c = config();
    Engine::ViewSettings s;
    s.refreshTimeMs = c.GetRefreshTimeMS();
    s.optimizeNearest = c.GetOptimizeUseNearestNeighbour();
    s.resilient = c.GetResilientDecodingEnabled();
    s.textureDither = c.GetTextureDitherEnabled();
    return s;
}
}  // namespace

CView::CView() : m_engine(new Engine::ViewEngine(*this)) {}

CView::~CView()
{
    m_engine->close(false);
}

CError CView::Open(const wchar_t* wszPath, bool bProgressive, bool bHeaderOnly)
{
    if (!wszPath) return CError(PLK_ERROR_INVALID_ARGUMENT, "No file name was given.");
    return Open(CString(wszPath), bProgressive, bHeaderOnly);
}

CError CView::Open(const CString& name, bool bProgressive, bool bHeaderOnly)
{
    return m_engine->open(name.utf8(), bProgressive, bHeaderOnly, Engine::OpenSettings::capture(config()));
}

CError CView::Close(bool bFreeCache)
{
    return m_engine->close(bFreeCache);
}
bool CView::IsOpen() const
{
    return m_engine->isOpen();
}

CError CView::SetView(int nBands, int* pBandList, int nWidth, int nHeight, double dWorldTLX, double dWorldTLY,
                      double dWorldBRX, double dWorldBRY)
{
    if (nBands < 0 || (nBands > 0 && !pBandList)) return CError(PLK_ERROR_INVALID_BAND, "No band list was given.");
    std::vector<uint32_t> bands;
    for (int i = 0; i < nBands; ++i) {
        if (pBandList[i] < 0) return CError(PLK_ERROR_INVALID_BAND, "Band indices cannot be negative.");
        bands.push_back(static_cast<uint32_t>(pBandList[i]));
    }
    return m_engine->setView(bands, nWidth, nHeight, dWorldTLX, dWorldTLY, dWorldBRX, dWorldBRY, viewSettings());
}

CError CView::SetView(int nBands, uint32_t* pBandList, int nWidth, int nHeight, double dWorldTLX, double dWorldTLY,
                      double dWorldBRX, double dWorldBRY)
{
    if (nBands < 0 || (nBands > 0 && !pBandList)) return CError(PLK_ERROR_INVALID_BAND, "No band list was given.");
    return m_engine->setView(std::vector<uint32_t>(pBandList, pBandList + nBands), nWidth, nHeight, dWorldTLX,
                             dWorldTLY, dWorldBRX, dWorldBRY, viewSettings());
}

CError CView::ConvertDatasetToWorld(double dDatasetX, double dDatasetY, double& dWorldX, double& dWorldY) const
{
    if (!m_engine->isOpen()) return notOpen();
    const auto& g = m_engine->image()->georef();
    dWorldX = g.originX + dDatasetX * g.cellX;
    dWorldY = g.originY + dDatasetY * g.cellY;
    return CError();
}

CError CView::ConvertWorldToDataset(double dWorldX, double dWorldY, double& dDatasetX, double& dDatasetY) const
{
    if (!m_engine->isOpen()) return notOpen();
    const auto& g = m_engine->image()->georef();
    dDatasetX = (dWorldX - g.originX) / g.cellX;
    dDatasetY = (dWorldY - g.originY) / g.cellY;
    return CError();
}

PLKSetViewInfo CView::GetSetViewInfo() const
{
    return m_engine->setViewInfo();
}
bool CView::IsViewSet() const
{
    return m_engine->isViewSet();
}
bool CView::IsProgressive() const
{
    return m_engine->isProgressive();
}
bool CView::IsReadCancelPending() const
{
    return m_engine->isReadCancelPending();
}
bool CView::IsClosePending() const
{
    return m_engine->isClosePending();
}

PLKReadStatus CView::ReadLineBGRA(uint8_t* pLine)
{
    return m_engine->readLineBGRA(pLine);
}
PLKReadStatus CView::ReadLineBIL(uint8_t** ppLines, PLKCellType eType)
{
    return m_engine->readLineBIL(ppLines, eType);
}
uint8_t CView::GetPercentComplete() const
{
    return m_engine->percentComplete();
}
uint32_t CView::GetAllBlocksAvailable() const
{
    return m_engine->blocksAvailable();
}
uint32_t CView::GetAllBlocksInView() const
{
    return m_engine->blocksInView();
}

CError CView::ClearTransforms()
{
    return m_engine->clearTransforms();
}

CError CView::CalculateMinMaxTransforms(uint32_t nBands, const uint32_t* pBands,
                                        std::vector<API::CMinMaxTransform*>& transforms, double dClipPercent,
                                        uint32_t /*nSamplePercent: the statistics level is small, all of it counts*/)
{
    return m_engine->calculateTransforms(nBands, pBands, transforms, dClipPercent);
}

CError CView::SetTransform(uint32_t nBand, const API::CMinMaxTransform* pTransform)
{
    return m_engine->setTransform(nBand, pTransform);
}

ViewParameters::ViewParametersDecompress& CView::Parameters()
{
    return m_engine->parameters();
}
const ViewParameters::ViewParametersDecompress& CView::Parameters() const
{
    return m_engine->parameters();
}
ViewParameters::ViewParametersJp2::ViewParametersJp2Decompress& CView::Jp2Parameters()
{
    return m_engine->jp2Parameters();
}

const ViewMetadata::ViewMetadataJp2& CView::Jp2Metadata() const
{
    return m_engine->isOpen() ? m_engine->image()->description().jp2 : emptyJp2();
}

const ViewMetadata::ViewMetadataXRV& CView::XRVMetadata() const
{
    return m_engine->isOpen() ? m_engine->image()->description().xrv : emptyXrv();
}

PLKFileInfo* CView::GetFileInfo() const
{
    return m_engine->isOpen() ? m_engine->image()->fileInfo() : nullptr;
}

PLKFileType CView::GetFileType() const
{
    return m_engine->isOpen() ? m_engine->image()->description().fileType : PLK_FILE_UNKNOWN;
}

int CView::GetEPSGCode() const
{
    return m_engine->isOpen() ? m_engine->image()->georef().epsg : 0;
}

CError CView::GetDefaultRGBABandList(std::vector<uint32_t>& bandList) const
{
    bandList.clear();
    if (!m_engine->isOpen()) return notOpen();
    const Engine::ImageDescription& d = m_engine->image()->description();
    const int alpha = d.alphaBand;
    std::vector<uint32_t> colour;
    for (uint32_t b = 0; b < d.bands.size(); ++b)
        if (static_cast<int>(b) != alpha) colour.push_back(b);
    if (colour.empty()) return CError(PLK_ERROR_NOT_AVAILABLE, "The image has no colour bands.");
    // The bands described as red, green and blue, in that order, whatever order the file
    // stores them in (a channel definition may reorder them).
    std::vector<uint32_t> named;
    for (const char* name : {"Red", "Green", "Blue"})
        for (uint32_t b = 0; b < d.bands.size(); ++b)
            if (d.bands[b].description == name) {
                named.push_back(b);
                break;
            }
    if (named.size() == 3 && d.colorSpace != PLK_COLOR_GREYSCALE)
        bandList = named;
    else if (colour.size() >= 3 && d.colorSpace != PLK_COLOR_GREYSCALE)
        bandList = {colour[0], colour[1], colour[2]};
    else
        bandList = {colour[0], colour[0], colour[0]};
    if (alpha >= 0) bandList.push_back(static_cast<uint32_t>(alpha));
    return CError();
}

const char* CView::GetFileName() const
{
    return m_engine->name().c_str();
}

CError CView::GetRPCData(PLKRPCData*& pRPC) const
{
    pRPC = nullptr;
    if (!m_engine->isOpen()) return notOpen();
    const auto& g = m_engine->image()->georef();
    if (!g.hasRpc) return CError(PLK_ERROR_NOT_AVAILABLE, "The image has no RPC coefficients.");
    pRPC = new PLKRPCData(g.rpc);
    return CError();
}

CError CView::GetClientStatistics(PLKFileStatistics*& pStats)
{
    return m_engine->statistics(pStats);
}

const PLKJP2Box* CView::GetXMLBox(const PLKJP2Box* pPrevious) const
{
    if (!m_engine->isOpen()) return nullptr;
    const auto& boxes = m_engine->image()->description().xmlBoxes;
    if (boxes.empty()) return nullptr;
    if (!pPrevious) return &boxes.front();
    if (pPrevious < boxes.data() || pPrevious >= boxes.data() + boxes.size()) return nullptr;
    const size_t next = static_cast<size_t>(pPrevious - boxes.data()) + 1;
    return next < boxes.size() ? &boxes[next] : nullptr;
}

CIOStream* CView::GetStream()
{
    return m_engine->file() ? m_engine->file()->GetStream() : nullptr;
}

CError CView::Reconnect()
{
    if (!m_engine->isOpen()) return notOpen();
    return m_engine->image()->source()->reconnect();  // local files hold no connection: success
}

SDK::CFileBase* CView::GetFile() const
{
    return m_engine->file();
}

void CView::RefreshUpdate(PLKSetViewInfo* /*pViewInfo*/) {}

PLKReadStatus CView::RefreshUpdateEx(PLKSetViewInfo* pViewInfo)
{
    RefreshUpdate(pViewInfo);
    return PLK_READ_OK;
}

}  // namespace PLK
