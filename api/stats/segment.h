// Where this process has attached the statistics segment.
#ifndef NPRM_STATS_SEGMENT_H
#define NPRM_STATS_SEGMENT_H

namespace nprm {

// Null until somebody tried to attach it; what shmat() returned then, its failure value too.
extern void *stats_segment;

}  // namespace nprm

#endif
