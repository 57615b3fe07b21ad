// Records, enumerations and free functions of the xrv60 format engine.
//
// The records are plain C layouts so that callers can read them field by field; the engine
// allocates the ones it hands out (statistics, RPC data) and the caller returns them with the
// matching free function.
#pragma once

#include <cstddef>
#include <cstdint>

/// Kind of image behind a view.
enum PLKFileType : int32_t {
    PLK_FILE_UNKNOWN = 0,
    PLK_FILE_XRV = 1,
    PLK_FILE_JPEG2000 = 2,
};

/// How a view's bytes reach the engine, as the engine's source knows it (never from the name).
enum PLKProtocol : int32_t {
    PLK_PROTOCOL_LOCAL_FILE = 0,
    PLK_PROTOCOL_XRVP = 1,   ///< HTTP range requests
    PLK_PROTOCOL_XRVPS = 2,  ///< HTTPS range requests
};

/// Type of one cell (sample) of a band.
enum PLKCellType : int32_t {
    PLK_CELL_UINT8 = 0,
    PLK_CELL_UINT16 = 1,
    PLK_CELL_UINT32 = 2,
    PLK_CELL_UINT64 = 3,
    PLK_CELL_INT8 = 4,
    PLK_CELL_INT16 = 5,
    PLK_CELL_INT32 = 6,
    PLK_CELL_INT64 = 7,
    PLK_CELL_IEEE4 = 8,
    PLK_CELL_IEEE8 = 9,
};

/// Result of a line read or of a progressive refresh.
enum PLKReadStatus : int32_t {
    PLK_READ_OK = 0,
    PLK_READ_FAILED = 1,
    PLK_READ_CANCELLED = 2,
};

/// Colour interpretation of the image's bands.
enum PLKColorSpace : int32_t {
    PLK_COLOR_NONE = 0,
    PLK_COLOR_GREYSCALE = 1,
    PLK_COLOR_YUV = 2,
    PLK_COLOR_MULTIBAND = 3,
    PLK_COLOR_SRGB = 4,
    PLK_COLOR_YCBCR = 5,
};

/// Unit of the cell increments.
enum PLKCellSizeUnits : int32_t {
    PLK_UNITS_INVALID = 0,
    PLK_UNITS_METERS = 1,
    PLK_UNITS_DEGREES = 2,
    PLK_UNITS_FEET = 3,
    PLK_UNITS_UNKNOWN = 4,
};

/// Resampling used when a view's cells do not fall one to one on its pixels.
enum PLKResampleMethod : int32_t {
    PLK_RESAMPLE_NEAREST = 0,
    PLK_RESAMPLE_BILINEAR = 1,
};

/// How datum and projection texts of PLKFileInfo are written.
enum PLKProjectionFormat : int32_t {
    /// Short geodetic-table codes ("WGS84", "NUTM33", "GEODETIC", "RAW").
    PLK_PROJECTION_GDT = 0,
    /// Names of the coordinate reference system as its authority gives them
    /// ("WGS_1984", "WGS 84 / UTM zone 33N").
    PLK_PROJECTION_EPSG_NAMES = 1,
};

/// One band of an image.
struct PLKBandInfo {
    uint8_t nBits;  ///< significant bits per cell
    bool bSigned;   ///< cells are two's-complement signed
    char* szDesc;   ///< "Red", "Green", "Blue", "Grayscale", "AllOpacity" or "Band N"
};

/// Authoring metadata of an image; every entry may be null.
struct PLKFileMetaData {
    wchar_t* sClassification;
    wchar_t* sAcquisitionDate;
    wchar_t* sAcquisitionSensorName;
    wchar_t* sCompressionSoftware;
    wchar_t* sAuthor;
    wchar_t* sCopyright;
    wchar_t* sCompany;
    wchar_t* sEmail;
    wchar_t* sAddress;
    wchar_t* sTelephone;
};

/// What a view knows about its image. Owned by the view; valid until it is closed.
struct PLKFileInfo {
    uint32_t nSizeX;  ///< width in cells
    uint32_t nSizeY;  ///< height in cells
    uint16_t nBands;
    uint16_t nCompressionRate;  ///< target compression rate, N for N:1 (0 when unknown)
    PLKCellSizeUnits eCellSizeUnits;
    double fCellIncrementX;  ///< world units per cell along x
    double fCellIncrementY;  ///< world units per cell along y; negative for north-up images
    double fOriginX;         ///< world x of the top-left corner of cell (0, 0)
    double fOriginY;         ///< world y of the top-left corner of cell (0, 0)
    char* szDatum;
    char* szProjection;
    double fCWRotationDegrees;  ///< clockwise rotation of the cell grid
    PLKColorSpace eColorSpace;
    PLKCellType eCellType;
    PLKBandInfo* pBands;             ///< nBands entries
    uint8_t nFormatVersion;          ///< container version (1 for JP2 and raw code-streams)
    char* szCompressionDate;         ///< empty when the file does not say
    float fActualCompressionRate;    ///< uncompressed / compressed bytes, 0 when unknown
    PLKFileMetaData* pFileMetaData;  ///< may be null
};

/// The view a set-view call established, handed to the refresh callbacks.
struct PLKSetViewInfo {
    uint32_t nBands;
    uint32_t* pBandList;
    uint32_t nSizeX;  ///< view width in pixels
    uint32_t nSizeY;  ///< view height in pixels
    double fTopX;     ///< world x of the top-left corner
    double fLeftY;    ///< world y of the top-left corner
    double fBottomX;  ///< world x of the bottom-right corner
    double fRightY;   ///< world y of the bottom-right corner
    uint32_t nBlocksInView;
    uint32_t nBlocksAvailable;
    void* pClientData;
};

/// Rational polynomial camera model, 92 doubles in RPC00B order.
struct PLKRPCData {
    double ERR_BIAS;
    double ERR_RAND;
    double LINE_OFF;
    double SAMP_OFF;
    double LAT_OFF;
    double LONG_OFF;
    double HEIGHT_OFF;
    double LINE_SCALE;
    double SAMP_SCALE;
    double LAT_SCALE;
    double LONG_SCALE;
    double HEIGHT_SCALE;
    double LINE_NUM_COEFF[20];
    double LINE_DEN_COEFF[20];
    double SAMP_NUM_COEFF[20];
    double SAMP_DEN_COEFF[20];
};
static_assert(sizeof(PLKRPCData) == 92 * sizeof(double), "RPC record must be 92 doubles");

/// Statistics of one band.
struct PLKBandStatistics {
    float fMode;
    float fMinVal;
    float fMaxVal;
    float fMeanVal;
    float fMedianVal;
    float fStandardDev;
    uint32_t nHistBucketCount;
    uint64_t* Histogram;  ///< nHistBucketCount counts; bucket i holds value (min of type + i)
};

/// Statistics of every band of an image.
struct PLKFileStatistics {
    PLKBandStatistics* BandsStats;
    uint32_t nNumberOfBands;
};

/// A metadata box of the file: its four-character type (as an integer, first character in the
/// most significant byte, so 'xml ' is 0x786D6C20) and where its contents lie.
struct PLKJP2Box {
    uint32_t nTBox;
    uint64_t nContentOffset;
    uint64_t nContentLength;
};

/// Starts the engine. Calls are counted; each needs a matching PLKShutdown().
void PLKInit();
/// Stops the engine when the last PLKInit() is matched: workers end, caches are freed.
void PLKShutdown();
/// Releases statistics returned by a view. Null is accepted.
void PLKFreeStatistics(PLKFileStatistics* pStats);
/// Releases RPC data returned by a view. Null is accepted.
void PLKFreeRPCData(PLKRPCData* pRPC);
/// Folder of the geodetic data tables.
void PLKSetGDTPath(const char* szPath);
const char* PLKGetGDTPath();
/// Chooses the HTTP stack of the stream client on Windows; accepted and ignored elsewhere.
void PLKWinHttpSetUseWinHttp(int bUse);
/// The engine's version text.
const char* PLKGetVersion();
