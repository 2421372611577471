// The creators of the class table's rows that are not a filter's own CreateInstance. Rows 0, 5
// and 8 use MXFParseFilter::, CMovieDecodeFilter:: and MP4ParseFilter::CreateInstance. Every creator passes its
// row's class id to the filter's constructor, so CBaseFilter::ClassId() names the row the filter
// came from; the MXF and MP4 flavours of one class differ only in that id and their flavour flag.
//
// A filter that is not built yet has a creator all the same, in the file its filter will take: it
// logs a warning naming the class and answers null with E_NOTIMPL in *phr.
// Threads: any thread. Ownership: a returned object has no reference taken yet.
#pragma once

#include "platform/Unknown.h"

CUnknown* CreateTimecodeRenderer(IUnknown* outer, HRESULT* phr);        // row 1
CUnknown* CreateSoundMixerFilter(IUnknown* outer, HRESULT* phr);        // row 2
CUnknown* CreateSoundSplitterFilterMXF(IUnknown* outer, HRESULT* phr);  // row 3
CUnknown* CreateAudioLevelRendererMXF(IUnknown* outer, HRESULT* phr);   // row 4
CUnknown* CreateMovieResizeFilter(IUnknown* outer, HRESULT* phr);       // row 6
CUnknown* CreateConvertFilter(IUnknown* outer, HRESULT* phr);           // row 7
CUnknown* CreateAudioLevelRendererMP4(IUnknown* outer, HRESULT* phr);   // row 9
CUnknown* CreateMP4TimecodeRenderer(IUnknown* outer, HRESULT* phr);     // row 10
CUnknown* CreateSoundSplitterFilterMP4(IUnknown* outer, HRESULT* phr);  // row 11
