/// @file
/// Every public header of the library.
#pragma once

#include <Hascommon/BitstreamBuilder.h>
#include <Hascommon/BitstreamReader.h>
#include <Hascommon/CCDebugHAS.h>
#include <Hascommon/CHASDebug.h>
#include <Hascommon/Export.h>
#include <Hascommon/Linux/Dlog.h>
#include <Hascommon/Linux/HasMemory.h>
#include <Hascommon/Linux/Sleep.h>
#include <Hascommon/LockGuard.h>
#include <Hascommon/Mutex.h>
#include <Hascommon/Packet.h>
#include <Hascommon/RecursiveMutex.h>
#include <Hascommon/Thread.h>
#include <Hascommon/ThreadAnnotations.h>
#include <Hasnet/Curl.h>
#include <Hasnet/Curl_HLS.h>
#include <Hasnet/ICurl.h>
#include <Hasnet/ICurlCB.h>
#include <Hasnet/IDownloadEvent.h>
#include <Hasnet/curl_thread_option.h>
#include <Hasutil/H264HeaderParser.h>
#include <Hasutil/H264SequenceSetParse.h>
#include <Hasutil/H264_SyntaxReader.h>
