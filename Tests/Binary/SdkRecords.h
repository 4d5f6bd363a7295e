/* The host's records as a host built from the vendor's SDK lays them out on
 * LP64, written out again from the SDK's published field lists in plain C,
 * independent of the project's own SDK headers. Only what a host must fill or
 * read to drive an effect through about, parameter set-up and one smart frame
 * is named; every slot and field is present, in order, so every offset is the
 * host's. Function slots are plain pointers here: the test puts a distinct
 * marker into each one. */
#ifndef BRINDEL_TESTS_SDK_RECORDS_H
#define BRINDEL_TESTS_SDK_RECORDS_H

#include <stdint.h>

/* clang-format off */
typedef void* Slot;

typedef struct { int32_t left, top, right, bottom; } AbiRect;

typedef struct { int32_t num; uint32_t den; } AbiRatio;

typedef struct { double rateF; int16_t num_channels, format, sample_size; } AbiSoundFormat;

typedef struct { AbiSoundFormat fi; int32_t num_samples; void* dataP; } AbiSoundWorld;

/* checkout_param, checkin_param, add_param, abort, progress, register_ui,
 * checkout_layer_audio, checkin_layer_audio, get_audio_data. */
enum { kInteractSlots = 9 };
typedef struct { Slot slots[kInteractSlots]; void* reserved_str[3]; void* reserved[10]; } AbiInteractCallbacks;

enum { kAnsiSlots = 19 }; /* atan ... tan, sprintf (15), strcpy (16), asin, acos */
typedef struct { Slot slots[kAnsiSlots]; int32_t ansi_procs[1]; } AbiAnsiCallbacks;

/* 26 slots (begin_sampling ... app), the ANSI table, 8 colour slots, 14 slots
 * (get_platform_data ... get_pixel_data16), one reserved word. */
enum { kUtilHeadSlots = 26, kColorSlots = 8, kUtilTailSlots = 14 };
typedef struct {
    Slot head[kUtilHeadSlots];
    AbiAnsiCallbacks ansi;
    Slot color[kColorSlots];
    Slot tail[kUtilTailSlots];
    int32_t reserved[1];
} AbiUtilCallbacks;

typedef struct {
    AbiInteractCallbacks inter;
    AbiUtilCallbacks* utils;
    void* effect_ref;
    int32_t quality;
    int16_t version_major, version_minor;
    int32_t serial_num, appl_id, num_params, reserved, what_cpu, what_fpu;
    int32_t current_time, time_step, total_time, local_time_step;
    uint32_t time_scale;
    int32_t field, shutter_angle, width, height;
    AbiRect extent_hint;
    int32_t output_origin_x, output_origin_y;
    AbiRatio downsample_x, downsample_y, pixel_aspect_ratio;
    int32_t in_flags;
    void** global_data;
    void** sequence_data;
    void** frame_data;
    int32_t start_sampL, dur_sampL, total_sampL;
    AbiSoundWorld src_snd;
    void* pica_basicP;
    int32_t pre_effect_source_origin_x, pre_effect_source_origin_y;
    int32_t shutter_phase;
} AbiInData;

typedef struct {
    uint32_t my_version;
    char name[32];
    void** global_data;
    int32_t num_params;
    void** sequence_data;
    int32_t flat_sdata_size;
    void** frame_data;
    int32_t width, height;
    int32_t origin_h, origin_v;
    int32_t out_flags;
    char return_msg[256];
    int32_t start_sampL, dur_sampL;
    AbiSoundWorld dest_snd;
    int32_t out_flags2;
} AbiOutData;

typedef struct {
    void* reserved0;
    void* reserved1;
    int32_t world_flags;
    void* data;
    int32_t rowbytes, width, height;
    AbiRect extent_hint;
    void* platform_ref;
    int32_t reserved_long1;
    void* reserved_long4;
    AbiRatio pix_aspect_ratio;
    void* reserved_long2;
    int32_t origin_x, origin_y, reserved_long3, dephault;
} AbiWorld;

typedef struct {
    double value;
    double phase;
    char value_desc[32];
    float valid_min, valid_max, slider_min, slider_max, dephault;
    int16_t precision;
    int16_t display_flags;
    uint32_t fs_flags;
    float curve_tolerance;
    uint8_t useExponent;
    float exponent;
} AbiFloatSlider;

typedef struct {
    int32_t id;
    int32_t ui_flags;
    int16_t ui_width, ui_height;
    int32_t param_type;
    char name[32];
    int32_t flags;
    int32_t unused;
    union {
        AbiWorld ld; /* the largest member */
        AbiFloatSlider fs_d;
    } u;
} AbiParamDef;

typedef struct {
    AbiRect rect;
    int32_t field, channel_mask;
    uint8_t preserve_rgb_of_zero_alpha;
    char unused[3];
    int32_t reserved[4];
} AbiRenderRequest;

typedef struct {
    AbiRenderRequest output_request;
    int16_t bitdepth;
    const void* gpu_data;
    int32_t what_gpu;
    uint32_t device_index;
} AbiPreRenderInput;

typedef struct {
    AbiRect result_rect, max_result_rect;
    uint8_t solid, reserved;
    int16_t flags;
    void* pre_render_data;
    void* delete_pre_render_data_func;
} AbiPreRenderOutput;

typedef struct {
    AbiRect result_rect, max_result_rect;
    AbiRatio par;
    uint8_t solid;
    uint8_t reservedB[3];
    int32_t ref_width, ref_height;
    int32_t reserved[6];
} AbiCheckoutResult;

typedef struct {
    Slot slots[2]; /* checkout_layer, GuidMixInPtr */
} AbiPreRenderCallbacks;

typedef struct { AbiPreRenderInput* input; AbiPreRenderOutput* output; AbiPreRenderCallbacks* cb; } AbiPreRenderExtra;

typedef struct {
    AbiRenderRequest output_request;
    int16_t bitdepth;
    void* pre_render_data;
    const void* gpu_data;
    int32_t what_gpu;
    uint32_t device_index;
} AbiSmartRenderInput;

typedef struct {
    Slot slots[3]; /* checkout_layer_pixels, checkin_layer_pixels, checkout_output */
} AbiSmartRenderCallbacks;

typedef struct { AbiSmartRenderInput* input; AbiSmartRenderCallbacks* cb; } AbiSmartRenderExtra;

/* AcquireSuite, ReleaseSuite, IsEqual, AllocateBlock, FreeBlock,
 * ReallocateBlock, Undefined. */
typedef struct { Slot slots[7]; } AbiBasicSuite;

/* host_new_handle, host_lock_handle, host_unlock_handle, host_dispose_handle,
 * host_get_handle_size, host_resize_handle. */
typedef struct { Slot slots[6]; } AbiHandleSuite;
/* clang-format on */

#endif
