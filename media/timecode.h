#pragma once
// CLuTimeCode: the SMPTE timecode value of the framework. Hours, minutes,
// seconds and frames at a frame rate, counted drop frame or non-drop frame,
// optionally negative (a signed offset rather than a time of day). Converts
// between the field form, a count of frames since midnight, the packed words
// of DPX headers and LTC, and text. Builds on CLuString (base/string.h).
//
// Errors: a timecode never throws and returns no error codes. Every check
// that fails appends one line (ended by "\n") to the value's own `strErrors`
// and, except for the drop-frame-rate warning, sets `bInvalid`. The value
// keeps whatever fields it was given, so callers can still print it.
//
// Frame base: all arithmetic runs on the whole rate `nFpsBase`, which is
// floor(|fps| + 0.5), saturated to 0..4294967295 and never 0 (0 and NaN give
// 1). So 23.976 counts like 24, 29.97 like 30 and 59.94 like 60. Rates are
// the same unless they differ by more than 1e-9 (so NaN is the same as any
// rate); a rate not above 1e-9 (NaN included) means "no rate".
//
// Drop frame counts at any base F with exactly two skipped frame numbers (0
// and 1) at the start of every minute that is not a multiple of ten, also at
// 60 fps. Only 30 is accepted without a warning line. With M = 60F - 2 frames
// a minute and T = 10M + 2 frames per ten minutes, an hour holds 6T frames and
// a day 144T (2,589,408 at 30).
//
// Packed DPX timecode word (nAsSmpteDpxTimeCode / tcFromSmpteDpxTimeCode),
// four BCD bytes, each (tens << 4) | units. No sign, drop-frame, colour-frame
// or field flags are written; 01:02:03:04 packs to 0x04030201, so on a
// little-endian machine the bytes read hours, minutes, seconds, frames. The
// fields are OR-ed in unmasked: one above 99 spills into its neighbour
// (hours 255 packs to 0x00000195).
//
//   bit  31  28 27  24 23  20 19  16 15  12 11   8 7    4 3    0
//       +------+------+------+------+------+------+------+------+
//       |frames|frames| secs | secs | mins | mins |hours |hours |
//       | tens |units | tens |units | tens |units | tens |units |
//       +------+------+------+------+------+------+------+------+
//
// Full packed word (nAsFullPacked / tcFromFullPacked):
//
//   bit  31 30 29  28   27    24 23                                  0
//       +--+--+--+----+--------+-------------------------------------+
//       | 0| 0| 0|drop|rate    | |frames since midnight| (sign lost) |
//       +--+--+--+----+--------+-------------------------------------+
//   rate code: 1 = 24, 2 = 30, 3 = 60 (exact within 1e-9), 0 = 25 and every
//   other rate; decoding maps every code but 1, 2, 3 to 25. So 29.97 and
//   23.976 come back as 25 fps.
//
// LTC frame word (tcFromLTCTimeCode), 64 bits read byte by byte:
//
//   byte  bits    low nibble                 high nibble
//   0      0-7    frame units                user group 1
//   1      8-15   frame tens (bits 8-9)      user group 2
//   2     16-23   seconds units              user group 3
//   3     24-31   seconds tens (bits 24-26)  user group 4
//   4     32-39   minutes units              user group 5
//   5     40-47   minutes tens (bits 40-42)  user group 6
//   6     48-55   hours units                user group 7
//   7     56-63   hours tens (bits 56-57)    user group 8
//
//   The remaining low-nibble bits are flags (drop frame, colour frame, ...)
//   and are ignored: the caller's drop flag applies. The user groups come
//   back as one 32-bit word, group 1 in bits 0-3 up to group 8 in 28-31.

#include <cstdint>

#include "base/string.h"

class CLuTimeCode {
 public:
  // Text forms of strAsString.
  enum EFormat {
    eFormatPlain = 0,    // "01:02:03:04", "-00:00:01:00"
    eFormatWithFps = 1,  // "01:02:03:04 (25 fps)", "... (30 fps, DropFrame)"
  };

  // 00:00:00:00 without a rate (dFps 0), not drop frame, valid.
  CLuTimeCode();

  // Builds and validates a value. The components are checked in full but
  // stored in 8-bit fields, so a component above 255 is kept modulo 256.
  // Check order, each failure appending its line: hours > 23, minutes > 59,
  // seconds > 59 (invalid); then at a rate above 1e-9 frames >= nFpsBase
  // (invalid), at a rate below -1e-9 "fps value is < 0" (invalid, no frame
  // check), otherwise dFps becomes exactly 0.0 and frames are not checked;
  // then with bDropFrame a skipped frame number (frames 0 and 1 at second 0
  // of a minute not a multiple of ten; invalid) and, at any rate other than
  // 30, the warning "Drop frame unspecified for FPS values other than 30",
  // which leaves the value valid and drop frame.
  CLuTimeCode(uint32_t nHours, uint32_t nMinutes, uint32_t nSeconds,
              uint32_t nFrames, double dFps, bool bDropFrame, bool bNegative);

  // Copies every field of tc, messages and invalid flag included.
  void Set(CLuTimeCode const& tc);

  // Gives the value a new rate and drop flag, keeping hours, minutes, seconds
  // and frames as they are (the frame count is not converted). Re-derives
  // nFpsBase. A rate below -1e-9 appends "TimeCode's fps value is < 0 -
  // invalid" and sets bInvalid; drop frame at a rate other than 30 appends
  // the drop-frame warning only. Earlier messages stay; the frame field is
  // not checked against the new base.
  void SetFps(double dFps, bool bDropFrame);

  // Frames since 00:00:00:00 at nFpsBase (drop frame counted as described
  // above), negated for a negative value. A value without a rate counts at
  // base 1 (00:00:01:00 is 1 frame). Counts beyond the 32-bit range wrap.
  int32_t iFramesSinceMidnight() const;

  // The packed BCD word of the DPX header (table above). Fields above 99
  // spill into their neighbours.
  uint32_t nAsSmpteDpxTimeCode() const;

  // The full packed word (table above); bits 0-23 hold the magnitude of the
  // frame count modulo 2^24.
  int32_t nAsFullPacked() const;

  // "HH:MM:SS:FF" with two digits at least per field and colons also in drop
  // frame, "-" in front when negative. eFormatWithFps appends " (" + rate +
  // " fps" + ", DropFrame" when drop frame + ")", the rate printed with 15
  // decimals and trailing zeroes stripped ("25", "29.969999999999999"); a
  // value without a rate (dFps not above 1e-9) never prints one.
  CLuString strAsString(EFormat eFormat = eFormatPlain) const;

  // Frames in 24 hours at the base of dFps: F * 86400, or 144 * T in drop
  // frame, as an unsigned 32-bit product: it wraps for absurd rates (49,711
  // fps gives 63,104; 2^30 fps gives 0).
  static uint32_t nFramesPerDay(double dFps, bool bDropFrame);

  // The timecode iFrames frames after midnight. Counts wrap at 24 hours; a
  // negative count gives a negative value of the wrapped magnitude (-25 at 25
  // fps is -00:00:01:00). The frames of a day, an hour and a minute are
  // unsigned 32-bit products that wrap at absurd rates, and a step whose
  // block size wrapped to 0 is skipped (nothing divided off). A rate not
  // above 0 (NaN aside) gives 00:00:00:00 without a rate, marked invalid with
  // "Invalid frames per second value (must be greater than 0)".
  static CLuTimeCode tcFromFramesSinceMidnight(int32_t iFrames, double dFps,
                                               bool bDropFrame);

  // Decodes a packed DPX word (table above), each byte as low nibble + 10 x
  // high nibble without checking the nibbles (0x0A gives hours 10). Never
  // negative; the constructor's checks apply.
  static CLuTimeCode tcFromSmpteDpxTimeCode(uint32_t nPacked, double dFps,
                                            bool bDropFrame);

  // Decodes a full packed word (table above) through
  // tcFromFramesSinceMidnight at the rate of its rate code.
  static CLuTimeCode tcFromFullPacked(int32_t nPacked);

  // Decodes an LTC frame word (table above). pnUserBits, when not null,
  // receives the eight user-bit groups as nibbles, group 1 lowest. Never
  // negative; the caller's rate and drop flag apply.
  static CLuTimeCode tcFromLTCTimeCode(uint64_t n64Ltc, double dFps,
                                       bool bDropFrame, uint32_t* pnUserBits);

  // Reads the decimal digits of iNumber as HHMMSSFF (1020304 is 01:02:03:04).
  // Negative numbers give a negative value but split their digits in a mix of
  // signed and absolute steps: -5 is -00:00:00:05, -100 gives seconds 1 and
  // frames 200 (invalid); numbers at or below -1000000 give hours that the
  // checks see as huge unsigned values.
  static CLuTimeCode tcFromHHMMSSFF(int32_t iNumber, double dFps,
                                    bool bDropFrame);

  // tcFromHHMMSSFF of the text read as a signed 32-bit number; text that is
  // not a number reads as 0.
  static CLuTimeCode tcFromHHMMSSFFString(CLuString const& strNumber,
                                          double dFps, bool bDropFrame);

  // Reads up to eight digits "HHMMSSFF" after an optional "-" (negative) or
  // "+". The text is cut to 8 characters and padded with "0" on the left, so
  // "10203" is 00:01:02:03; a pair that is not a number reads as 0. Nothing
  // after the sign gives 00:00:00:00 at the given rate with exactly the
  // message "Empty timecode", marked invalid.
  static CLuTimeCode tcFromNumberString(CLuString strNumber, double dFps,
                                        bool bDropFrame);

  // Parses user text "[-]HH:MM:SS:FF [rate [DropFrame]]", where the rate may
  // carry "fps" and be wrapped in "(", ")" and "," ("01:00:00:00 (25fps)",
  // "00:01:00:02 30,dropframe"). dFps and bDropFrame are the defaults; a rate
  // in the text replaces dFps, "DropFrame" sets drop frame but cannot clear
  // it. Never throws: malformed text gives a value built from the fields read
  // so far, marked invalid, whose last message line names the fault and
  // quotes the input. The long form strAsString(eFormatWithFps) writes
  // ("01:00:00:00 (30 fps, DropFrame)") is rejected: the rate must touch its
  // "fps".
  static CLuTimeCode tcFromString(CLuString const& strText, double dFps,
                                  bool bDropFrame);

  // Moves the value by iFrames frames: iFramesSinceMidnight() + iFrames,
  // rebuilt at the value's rate and drop flag. A value without a rate (dFps
  // not above 1e-9, also a negative rate) is counted at its frame base and
  // rebuilt at 24: 00:00:01:00 without a rate plus one frame is 00:00:00:02
  // at 24. The result carries the messages and invalid flag of the rebuilt
  // value only. Wraps to 00:00:00:00 after 23:59:59:ff; below 00:00:00:00
  // the value turns negative.
  CLuTimeCode& operator+=(int32_t iFrames);
  // operator+= with -iFrames.
  CLuTimeCode& operator-=(int32_t iFrames);
  // operator+= with iSeconds * nFpsBase frames (1 frame a second for a value
  // without a rate).
  void IncrementSeconds(int32_t iSeconds);

  // Equal frame counts, equal drop flags and rates within 1e-9, a rate not
  // above 1e-9 counting as 24.
  bool operator==(CLuTimeCode const& tc) const;
  bool operator!=(CLuTimeCode const& tc) const;

  // Orders by the fields only (hours, minutes, seconds, frames as one 32-bit
  // key, negated when negative); rate and drop flag are ignored, so
  // 00:00:00:30 at 30 fps is less than 00:00:01:00 at 25 fps.
  bool operator<(CLuTimeCode const& tc) const;
  bool operator<=(CLuTimeCode const& tc) const;
  bool operator>(CLuTimeCode const& tc) const;
  bool operator>=(CLuTimeCode const& tc) const;

  bool bNegative;
  uint8_t nHours;
  uint8_t nMinutes;
  uint8_t nSeconds;
  uint8_t nFrames;
  bool bDropFrame;
  double dFps;        // as given (29.97 stays 29.97); 0 means no rate
  uint32_t nFpsBase;  // whole frames per second of every calculation, >= 1
  CLuString strErrors;
  bool bInvalid;

 private:
  // The constructor's work, in place: stores, derives, clears the messages
  // and validates (reuses the message buffer, so stepping does not allocate).
  void Construct(uint32_t nHours, uint32_t nMinutes, uint32_t nSeconds,
                 uint32_t nFrames, double dFps, bool bDropFrame,
                 bool bNegative);
  // Replaces this value by tcFromFramesSinceMidnight(iFrames, ...).
  void SetFramesSinceMidnight(int32_t iFrames, double dFps, bool bDropFrame);
};

// Sum and difference of two timecodes as frame counts (iFramesSinceMidnight).
// A side without a rate first takes the other side's rate and drop flag
// (with SetFps); when neither has one, b takes 24 and a's drop flag while a
// still counts at base 1. The result is rebuilt at a's rate (24 when a has
// none); its drop flag comes from b for operator+ but from a for operator-.
// This asymmetry is deliberate and kept: code built on these operators
// relies on it.
CLuTimeCode operator+(CLuTimeCode tcA, CLuTimeCode tcB);
CLuTimeCode operator-(CLuTimeCode tcA, CLuTimeCode tcB);
