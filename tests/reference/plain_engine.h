/// The plain engine: the whole engine once more, slow and written the obvious way, so that it can
/// be checked by reading it. The tests hold the real engine against it, value for value, message
/// for message and draw for draw. The two share no code; only the libraries beneath them, kissfft
/// and libresample, are the same, because their bits are the ones to agree on.
///
/// Memory never runs short here: failures that only a refused allocation can cause have no place.
///
/// Units, unless a comment says otherwise: times count frames, which start every 32 ms within
/// their own pass; frequencies count bins of 15.625 Hz; lengths count samples per channel; rates
/// are in Hz.
#pragma once

#include "plain_features.h"
#include "plain_log.h"
#include "plain_match.h"
#include "plain_signal.h"
#include "plain_stream.h"
