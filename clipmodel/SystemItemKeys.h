// SystemItemKeys: the names under which CMBXAnalyzeSystemItemData stores what a system item holds,
// and the pack ids and picture structure types of the acquisition item it decodes. The three
// triplet keys of that item are mxf_label::AcquisitionPackList, PictureStructure and
// PictureStructure2; the stamp offsets and types are in mxf_system_item (mxf/MXFLabels.h).
// Constants only; the values the names hold are the camera's raw units.
#pragma once

#include <cstdint>

namespace system_item_key {

inline constexpr char RecDateTime[] = "Rec_DateTime";

inline constexpr char FocusValue[] = "Focus_Value";
inline constexpr char FocusMode[] = "Focus_Mode";
inline constexpr char ZoomFocalLen[] = "Zoom_FocalLen";
inline constexpr char ZoomElectricZoom[] = "Zoom_ElectricZoom";
inline constexpr char LensFocusMode[] = "Lens_FocusMode";
inline constexpr char LensImageStabilizer[] = "Lens_ImageStabilizer";
inline constexpr char LensApertureMode[] = "Lens_ApertureMode";
inline constexpr char ShutterSpeed1[] = "ShutterSpeed_1";
inline constexpr char ShutterSpeed2[] = "ShutterSpeed_2";
inline constexpr char ShutterValueMode[] = "ShutterValue_Mode";
inline constexpr char ShutterValue1[] = "ShutterValue_1";
inline constexpr char ShutterValue2[] = "ShutterValue_2";
inline constexpr char FNumber1[] = "FNumber_1";
inline constexpr char FNumber2[] = "FNumber_2";
inline constexpr char WBMode[] = "WB_Mode";
inline constexpr char WBPreset[] = "WB_Preset";
inline constexpr char WBAccurate[] = "WB_Accurate";
inline constexpr char WBColorTmp[] = "WB_ColorTmp";
inline constexpr char WBIsotmpLineIndex[] = "WB_IsotmpLineIndex";
inline constexpr char GainMode[] = "Gain_Mode";
inline constexpr char GainMasterGain[] = "Gain_MasterGain";
inline constexpr char GainNDFilter[] = "Gain_NDFilter";
inline constexpr char GainMasterGainDelta[] = "Gain_MasterGainDelta";
inline constexpr char IRStatus[] = "IR_Status";
inline constexpr char StatusPackType[] = "StatusPackType";
inline constexpr char HighSensitivityMode[] = "HighSensitivityMode";
inline constexpr char ISOSpeed[] = "ISO_Speed";
inline constexpr char TNumber1[] = "TNumber_1";
inline constexpr char TNumber2[] = "TNumber_2";
inline constexpr char Gain2Mode[] = "Gain2_Mode";
inline constexpr char Gain2MasterGainDelta[] = "Gain2_MasterGainDelta";
inline constexpr char Gain2MasterGain[] = "Gain2_MasterGain";
inline constexpr char Gain2NDFilter[] = "Gain2_NDFilter";
inline constexpr char VFXTilt[] = "VFX_Tilt";
inline constexpr char VFXRoll[] = "VFX_Roll";
inline constexpr char Zoom2FocalLenNo35Cnv[] = "Zoom2_FocalLen_No35Cnv";
inline constexpr char Zoom3FocalLen[] = "Zoom3_FocalLen";

inline constexpr char DisplayOffset[] = "Display_Offset";
inline constexpr char SPSOffset[] = "SPS_Offset";
inline constexpr char SPSSize[] = "SPS_Size";
inline constexpr char PPSOffset[] = "PPS_Offset";
inline constexpr char PPSSize[] = "PPS_Size";
inline constexpr char SliceOffset[] = "Slice_Offset";
inline constexpr char SliceSize[] = "Slice_Size";
inline constexpr char VPSOffset[] = "VPS_Offset";
inline constexpr char VPSSize[] = "VPS_Size";

// Names the host knows for values whose packs no camera file has shown; nothing writes them.
inline constexpr char RecFrame[] = "Rec_Frame";
inline constexpr char FocusNValue[] = "Focus_NValue";
inline constexpr char ZoomFocalLenDV[] = "Zoom_FocalLen_DV";
inline constexpr char Vinetting[] = "Vinetting";
inline constexpr char ChromaticAberration[] = "ChromaticAberration";
inline constexpr char Distortion[] = "Distortion";
inline constexpr char Breathing[] = "Breathing";
inline constexpr char Gain3MasterGain[] = "Gain3_MasterGain";
inline constexpr char BaseISOSensitivityMode[] = "BaseISOSensitivityMode";
inline constexpr char BaseISOSensitivity[] = "BaseISOSensitivity";
inline constexpr char Gain3NDFilterMode[] = "Gain3_NDFilter_Mode";
inline constexpr char Gain3NDFilterStop1[] = "Gain3_NDFilter_Stop_1";
inline constexpr char Gain3NDFilterStop2[] = "Gain3_NDFilter_Stop_2";
inline constexpr char Gain3NDFilterTransmittance1[] = "Gain3_NDFilter_Transmittance_1";
inline constexpr char Gain3NDFilterTransmittance2[] = "Gain3_NDFilter_Transmittance_2";
inline constexpr char Gain3NDFilterOpticalDensity1[] = "Gain3_NDFilter_Optical_Density_1";
inline constexpr char Gain3NDFilterOpticalDensity2[] = "Gain3_NDFilter_Optical_Density_2";
inline constexpr char TintCorrection[] = "Tint_Correction";
inline constexpr char EntrancePupilPosition[] = "Entrance_Pupil_Position";
inline constexpr char UserBit[] = "User_Bit";
inline constexpr char FNumberRetry[] = "FNumber_Retry";
inline constexpr char TNumberRetry[] = "TNumber_Retry";

}  // namespace system_item_key

// The 5-byte packs of the acquisition pack list: an id, then four data bytes.
namespace system_item_pack {

inline constexpr uint32_t PackSize = 5;
inline constexpr uint8_t Focus = 0;
inline constexpr uint8_t Zoom = 1;
inline constexpr uint8_t Lens = 2;
inline constexpr uint8_t ShutterSpeed = 3;
inline constexpr uint8_t ShutterValue = 4;
inline constexpr uint8_t FNumber = 5;
inline constexpr uint8_t WhiteBalance = 6;
inline constexpr uint8_t Gain = 7;
inline constexpr uint8_t Status = 8;
inline constexpr uint8_t ISOSpeed = 9;
inline constexpr uint8_t TNumber = 10;
inline constexpr uint8_t Gain2 = 11;
inline constexpr uint8_t VFXTilt = 14;
inline constexpr uint8_t VFXRoll = 15;
inline constexpr uint8_t Zoom2 = 16;
inline constexpr uint8_t Zoom3 = 17;
// Ids 12, 13 and from 18 on carry nothing this reader knows; they are read and passed over.

// The focus pack's data is either a focus distance (an IEEE single) or one of these markers.
inline constexpr uint32_t FocusNone = 0x00000000;
inline constexpr uint32_t FocusMarkerFE = 0xFFFFFFFE;
inline constexpr uint32_t FocusMarkerFF = 0xFFFFFFFF;
inline constexpr uint8_t FocusModeNone = 0;
inline constexpr uint8_t FocusModeValue = 1;  // only then is "Focus_Value" stored
inline constexpr uint8_t FocusModeMarkerFE = 2;
inline constexpr uint8_t FocusModeMarkerFF = 3;

// A picture structure triplet: display offset, count, then entries of a type, a u32 offset and
// a u32 size. The types are mxf_system_item::Structure*.
inline constexpr uint32_t StructureEntrySize = 9;

}  // namespace system_item_pack
