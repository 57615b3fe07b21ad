// A view on an open image: the application sets a world rectangle and a pixel size, and reads
// the pixels back line by line, either at once (blocking views, decoded when the lines are
// read) or pass by pass from coarse to fine (progressive views, delivered through the refresh
// callbacks on the engine's own thread).
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "CError.h"
#include "CFileBase.h"
#include "CIOStream.h"
#include "CMinMaxTransform.h"
#include "CString.h"
#include "PLKTypes.h"
#include "ViewMetadataJp2.h"
#include "ViewMetadataXRV.h"
#include "ViewParametersDecompress.h"

namespace PLK {

namespace Engine {
class ViewEngine;
}

namespace SDK {

/// Anything that holds an open file of the engine.
class CFileClient {
public:
    CFileClient() = default;
    virtual ~CFileClient() = default;
    CFileClient(const CFileClient&) = delete;
    CFileClient& operator=(const CFileClient&) = delete;

    /// The open file; null while nothing is open.
    virtual CFileBase* GetFile() const = 0;
};

}  // namespace SDK

class CView : public SDK::CFileClient {
public:
    CView();
    /// Closes the view. A subclass that overrides the refresh callbacks must call Close() in its
    /// own destructor, so that no callback can reach it while it is being destroyed.
    ~CView() override;

    // --- opening -------------------------------------------------------------------------
    /// Opens a local file (or, later, a stream address). With bProgressive the view decodes on
    /// the engine's thread after each SetView and reports through the refresh callbacks;
    /// otherwise lines are decoded when they are read. bHeaderOnly opens for metadata only:
    /// no view can be set.
    CError Open(const wchar_t* wszPath, bool bProgressive, bool bHeaderOnly = false);
    CError Open(const CString& name, bool bProgressive, bool bHeaderOnly = false);
    /// Cancels the work in flight, waits for a refresh callback in progress to return and
    /// closes the file. bFreeCache lets the engine drop the file's decoded data at once when
    /// no other view uses it.
    CError Close(bool bFreeCache = false);
    bool IsOpen() const;

    // --- the view ------------------------------------------------------------------------
    /// Sets the bands (indices into the file's bands; 1 to 4 of them: grey, grey + opacity,
    /// RGB, RGB + opacity), the size in pixels and the world rectangle (top-left, bottom-right)
    /// to show. Returns at once; a progressive pass in flight is cancelled.
    CError SetView(int nBands, int* pBandList, int nWidth, int nHeight, double dWorldTLX, double dWorldTLY,
                   double dWorldBRX, double dWorldBRY);
    CError SetView(int nBands, uint32_t* pBandList, int nWidth, int nHeight, double dWorldTLX, double dWorldTLY,
                   double dWorldBRX, double dWorldBRY);
    /// Cell coordinates (column, row; fractions allowed) to world coordinates and back.
    CError ConvertDatasetToWorld(double dDatasetX, double dDatasetY, double& dWorldX, double& dWorldY) const;
    CError ConvertWorldToDataset(double dWorldX, double dWorldY, double& dDatasetX, double& dDatasetY) const;
    /// The current view: bands, size and world extent (zero size before the first SetView).
    /// The band list pointer stays valid until the next SetView.
    PLKSetViewInfo GetSetViewInfo() const;
    bool IsViewSet() const;
    bool IsProgressive() const;
    /// Inside a refresh callback: a newer view or a close has made the pass being delivered
    /// stale; the callback should return PLK_READ_CANCELLED at once.
    bool IsReadCancelPending() const;
    bool IsClosePending() const;

    // --- reading -------------------------------------------------------------------------
    /// Reads the next line of the view as 32-bit pixels (bytes blue, green, red, alpha).
    /// Cells outside the image read as transparent. After the last line the next read starts
    /// the view again from its first line.
    PLKReadStatus ReadLineBGRA(uint8_t* pLine);
    /// Reads the next line band by band into one buffer per band of the view. Only 8-bit
    /// output (PLK_CELL_UINT8) is offered; wider data goes through the band transforms.
    PLKReadStatus ReadLineBIL(uint8_t** ppLines, PLKCellType eType = PLK_CELL_UINT8);
    /// Share of the current view's blocks that are decoded at the view's resolution, 0 to 100.
    uint8_t GetPercentComplete() const;
    uint32_t GetAllBlocksAvailable() const;
    uint32_t GetAllBlocksInView() const;

    // --- dynamic range -------------------------------------------------------------------
    CError ClearTransforms();
    /// One transform per band in pBands, stretching the band's values between the clip points
    /// of its histogram: (100 - clip) / 2 per cent of the cells fall below the minimum and as
    /// many above the maximum (100 = the true minimum and maximum). nSamplePercent is the share
    /// of the statistics level's cells that are counted (100 = all). The transforms are owned
    /// by the view and live until the next calculation, ClearTransforms or Close.
    CError CalculateMinMaxTransforms(uint32_t nBands, const uint32_t* pBands,
                                     std::vector<API::CMinMaxTransform*>& transforms, double dClipPercent,
                                     uint32_t nSamplePercent);
    /// Applies a transform to a band of the file (copied; null removes it).
    CError SetTransform(uint32_t nBand, const API::CMinMaxTransform* pTransform);

    // --- parameters and metadata ---------------------------------------------------------
    ViewParameters::ViewParametersDecompress& Parameters();
    const ViewParameters::ViewParametersDecompress& Parameters() const;
    ViewParameters::ViewParametersJp2::ViewParametersJp2Decompress& Jp2Parameters();
    const ViewMetadata::ViewMetadataJp2& Jp2Metadata() const;
    const ViewMetadata::ViewMetadataXRV& XRVMetadata() const;

    /// Owned by the view; null while closed.
    PLKFileInfo* GetFileInfo() const;
    PLKFileType GetFileType() const;
    /// EPSG code of the image's coordinate system; 0 when unknown.
    int GetEPSGCode() const;
    /// Red, green and blue (and opacity when the image has one) for an RGB image; the grey
    /// band three times (and opacity) for a greyscale image; the first three bands of a
    /// multiband image.
    CError GetDefaultRGBABandList(std::vector<uint32_t>& bandList) const;
    /// The name the view was opened with, UTF-8; empty while closed.
    const char* GetFileName() const;
    /// RPC coefficients of the image; the caller frees them with PLKFreeRPCData.
    CError GetRPCData(PLKRPCData*& pRPC) const;
    /// Statistics of every band, computed once per file from a coarse resolution level; the
    /// caller frees them with PLKFreeStatistics.
    CError GetClientStatistics(PLKFileStatistics*& pStats);
    /// The XML boxes of the file: null gives the first, a box gives the one after it, null
    /// ends the list.
    const PLKJP2Box* GetXMLBox(const PLKJP2Box* pPrevious) const;
    /// Random access to the file's bytes; owned by the view, null while closed.
    CIOStream* GetStream();
    /// Re-establishes a lost connection to the image server; local files need none.
    CError Reconnect();

    SDK::CFileBase* GetFile() const override;

    // --- refresh callbacks, called on the engine's thread for progressive views -------------
    virtual void RefreshUpdate(PLKSetViewInfo* pViewInfo);
    /// Called after every pass with the view it belongs to. Lines read from inside the
    /// callback come from that pass. The default calls RefreshUpdate and answers PLK_READ_OK.
    virtual PLKReadStatus RefreshUpdateEx(PLKSetViewInfo* pViewInfo);

private:
    std::unique_ptr<Engine::ViewEngine> m_engine;
};

}  // namespace PLK
