#pragma once
// VeskonWin32GUISupportDLL: every public header of the library.
// The host starts GDI+ before using any drawing class and deletes CKVRN_DllMain::Instance()
// before it unloads the library.
#include "Export.h"

#include "frame/CriticalSectionEx.h"
#include "frame/DebugTrace.h"
#include "frame/ErrorMsg.h"
#include "frame/KVRN_DllMain.h"
#include "frame/Localize.h"
#include "frame/MemoryManager.h"
#include "frame/ModelessMessage.h"
#include "frame/RegistryEx.h"
#include "frame/ZintorResIds.h"

#include "files/FileIO.h"
#include "files/IniFile.h"

#include "layered/AlphaChannelButton.h"
#include "layered/AlphaChannelImage.h"
#include "layered/AlphaChannelWindow.h"
#include "layered/AlphaChannelWindowManager.h"

#include "images/ImageFileList.h"
#include "images/ImageManager.h"

#include "system/DateTime.h"
#include "system/FileList.h"
#include "system/IconCache.h"
#include "system/StringSearch.h"
#include "system/Win32.h"
#include "system/XEventLog.h"
