// The host's drawing suites and the record that holds one of each.
#pragma once

#include "SPBasic.h"

#define kDRAWBOT_DrawSuite "DRAWBOT Draw Suite"
#define kDRAWBOT_DrawSuite_Version1 1
#define kDRAWBOT_SupplierSuite "DRAWBOT Supplier Suite"
#define kDRAWBOT_SupplierSuite_Version1 1
#define kDRAWBOT_SurfaceSuite "DRAWBOT Surface Suite"
#define kDRAWBOT_SurfaceSuite_Version1 1
#define kDRAWBOT_SurfaceSuite_Version2 2
#define kDRAWBOT_PathSuite "DRAWBOT Path Suite"
#define kDRAWBOT_PathSuite_Version1 1
#define kDRAWBOT_PenSuite "DRAWBOT Pen Suite"
#define kDRAWBOT_PenSuite_Version1 1
#define kDRAWBOT_ImageSuite "DRAWBOT Image Suite"
#define kDRAWBOT_ImageSuite_Version1 1

typedef struct _DRAWBOT_DrawRef* DRAWBOT_DrawRef;
typedef struct _DRAWBOT_SupplierRef* DRAWBOT_SupplierRef;
typedef struct _DRAWBOT_SurfaceRef* DRAWBOT_SurfaceRef;

typedef struct DRAWBOT_DrawbotSuite1 {
    SPErr (*GetSupplier)(DRAWBOT_DrawRef in_drawbot_ref, DRAWBOT_SupplierRef* out_supplierP);
    SPErr (*GetSurface)(DRAWBOT_DrawRef in_drawbot_ref, DRAWBOT_SurfaceRef* out_surfaceP);
} DRAWBOT_DrawbotSuite1;

// Drawing is not done by this family of effects; the remaining suites are
// acquired and released as a set only.
typedef struct DRAWBOT_SupplierSuite1 DRAWBOT_SupplierSuite1;
typedef struct DRAWBOT_SurfaceSuite2 DRAWBOT_SurfaceSuite2;
typedef struct DRAWBOT_PathSuite1 DRAWBOT_PathSuite1;
typedef struct DRAWBOT_PenSuite1 DRAWBOT_PenSuite1;
typedef struct DRAWBOT_ImageSuite1 DRAWBOT_ImageSuite1;

typedef DRAWBOT_DrawbotSuite1 DRAWBOT_DrawbotSuiteCurrent;
typedef DRAWBOT_SupplierSuite1 DRAWBOT_SupplierSuiteCurrent;
typedef DRAWBOT_SurfaceSuite2 DRAWBOT_SurfaceSuiteCurrent;
typedef DRAWBOT_PathSuite1 DRAWBOT_PathSuiteCurrent;
typedef DRAWBOT_PenSuite1 DRAWBOT_PenSuiteCurrent;
typedef DRAWBOT_ImageSuite1 DRAWBOT_ImageSuiteCurrent;

typedef struct {
    DRAWBOT_DrawbotSuiteCurrent* drawbot_suiteP;
    DRAWBOT_SupplierSuiteCurrent* supplier_suiteP;
    DRAWBOT_SurfaceSuiteCurrent* surface_suiteP;
    DRAWBOT_PathSuiteCurrent* path_suiteP;
    DRAWBOT_PenSuiteCurrent* pen_suiteP;
    DRAWBOT_ImageSuiteCurrent* image_suiteP;
} DRAWBOT_Suites;
