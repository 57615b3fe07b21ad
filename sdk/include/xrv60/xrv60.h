// Everything an application of the xrv60 format engine includes.
#pragma once

#include "CConfig.h"
#include "CError.h"
#include "CFileBase.h"
#include "CIOStream.h"
#include "CLog.h"
#include "CMinMaxTransform.h"
#include "CString.h"
#include "CView.h"
#include "PLKTypes.h"
#include "ViewMetadataJp2.h"
#include "ViewMetadataXRV.h"
#include "ViewParametersDecompress.h"
