// The families of rules, each in a source of its own below rules/.
#pragma once

#include "Rule.h"

namespace hastool {

void addHlsSyntaxRules(Rules& rules);   ///< what playlists are made of: text and lines
void addHlsTagRules(Rules& rules);      ///< tags and attributes of playlists
void addHlsPlaylistRules(Rules& rules); ///< what playlists say, each by itself
void addHlsTimeRules(Rules& rules);     ///< dates and date ranges
void addHlsPartRules(Rules& rules);     ///< low latency
void addHlsMasterRules(Rules& rules);   ///< variants
void addHlsGroupRules(Rules& rules);    ///< renditions and their groups
void addHlsVariantRules(Rules& rules);  ///< media playlists against each other
void addHlsLiveRules(Rules& rules);     ///< a playlist against its earlier states
void addDashSyntaxRules(Rules& rules);  ///< elements and attributes of MPDs
void addDashPeriodRules(Rules& rules);  ///< periods and durations
void addDashRules(Rules& rules);        ///< adaptation sets and representations
void addDashProtectionRules(Rules& rules);
void addDashTemplateRules(Rules& rules); ///< names of segments
void addDashSegmentRules(Rules& rules);  ///< lengths and timelines
void addDashDynamicRules(Rules& rules);  ///< what a live MPD has to say
void addDashLiveRules(Rules& rules);     ///< a live MPD against its earlier states
void addDashTimelineRules(Rules& rules); ///< live timelines against their earlier states
void addSmoothRules(Rules& rules);
void addSmoothTimeRules(Rules& rules);  ///< chunks and durations
void addDeliveryRules(Rules& rules);    ///< responses and redirects
void addContentTypeRules(Rules& rules); ///< what responses say they are
void addCacheRules(Rules& rules);       ///< how long caches may keep what
void addCertificateRules(Rules& rules);
void addMediaRules(Rules& rules);     ///< media in any container
void addRateRules(Rules& rules);      ///< bitrates against the declared ones
void addDurationRules(Rules& rules);  ///< durations against the declared ones
void addStreamRules(Rules& rules);    ///< transport streams
void addFragmentRules(Rules& rules);  ///< fragmented MP4
void addPlacementRules(Rules& rules); ///< times of MP4 against those of the manifest
void addVideoRules(Rules& rules);     ///< key frames, codec strings, resolutions
void addProtectionRules(Rules& rules);
void addAlignmentRules(Rules& rules); ///< renditions against each other

/// What makes the whole of it unusable, where no other rule has said so; they come last.
void addPresentationRules(Rules& rules);

} // namespace hastool
