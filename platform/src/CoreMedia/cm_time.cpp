// CMTime arithmetic. Results of mixed timescales are exact where the values allow (the
// timescale of the sum is the least common multiple when it fits), and otherwise rounded
// with the HasBeenRounded flag set.
#include <CoreMedia/CMTime.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <numeric>

namespace {

constexpr CMTimeFlags k_valid = kCMTimeFlags_Valid;

CMTime make(int64_t value, int32_t timescale, CMTimeFlags flags, int64_t epoch) {
    CMTime time;
    time.value = value;
    time.timescale = timescale;
    time.flags = flags;
    time.epoch = epoch;
    return time;
}

CMTime special(CMTimeFlags implied) {
    return make(0, 0, k_valid | implied, 0);
}

// value * num / den rounded as `method` says; false on overflow.
bool rescale(int64_t value, int64_t num, int64_t den, CMTimeRoundingMethod method, int64_t* out, bool* rounded) {
    const __int128 product = static_cast<__int128>(value) * num;
    __int128 quotient = product / den;
    const __int128 remainder = product % den;
    *rounded = remainder != 0;
    if (remainder != 0) {
        const bool negative = (product < 0) != (den < 0);
        const __int128 twice = (remainder < 0 ? -remainder : remainder) * 2;
        const __int128 divisor = den < 0 ? -static_cast<__int128>(den) : den;
        bool away = false;
        switch (method) {
            case kCMTimeRoundingMethod_RoundTowardZero:
                away = false;
                break;
            case kCMTimeRoundingMethod_RoundAwayFromZero:
                away = true;
                break;
            case kCMTimeRoundingMethod_RoundTowardPositiveInfinity:
                away = !negative;
                break;
            case kCMTimeRoundingMethod_RoundTowardNegativeInfinity:
                away = negative;
                break;
            case kCMTimeRoundingMethod_QuickTime:  // toward zero when scaling down, else half away
            default:
                away = twice >= divisor;
                break;
        }
        if (away) quotient += negative ? -1 : 1;
    }
    if (quotient > std::numeric_limits<int64_t>::max() || quotient < std::numeric_limits<int64_t>::min()) return false;
    *out = static_cast<int64_t>(quotient);
    return true;
}

// Largest timescale up to the maximum that divides into the lcm, for mixed-scale arithmetic.
int32_t common_timescale(int32_t a, int32_t b) {
    if (a == b) return a;
    const int64_t lcm = std::lcm(static_cast<int64_t>(a), static_cast<int64_t>(b));
    if (lcm <= kCMTimeMaxTimescale) return static_cast<int32_t>(lcm);
    return a > b ? a : b;
}

// Sum or difference of two numeric times.
CMTime combine(CMTime lhs, CMTime rhs, int sign) {
    const bool lnum = CMTIME_IS_NUMERIC(lhs);
    const bool rnum = CMTIME_IS_NUMERIC(rhs);
    if (CMTIME_IS_INVALID(lhs) || CMTIME_IS_INVALID(rhs)) return kCMTimeInvalid;
    if (!lnum || !rnum) {
        if (CMTIME_IS_INDEFINITE(lhs) || CMTIME_IS_INDEFINITE(rhs)) return kCMTimeIndefinite;
        const bool lpos = CMTIME_IS_POSITIVE_INFINITY(lhs);
        const bool lneg = CMTIME_IS_NEGATIVE_INFINITY(lhs);
        // The right operand's sign flips when subtracting.
        const bool rpos = sign > 0 ? CMTIME_IS_POSITIVE_INFINITY(rhs) : CMTIME_IS_NEGATIVE_INFINITY(rhs);
        const bool rneg = sign > 0 ? CMTIME_IS_NEGATIVE_INFINITY(rhs) : CMTIME_IS_POSITIVE_INFINITY(rhs);
        if ((lpos && rneg) || (lneg && rpos)) return kCMTimeInvalid;
        return (lpos || rpos) ? kCMTimePositiveInfinity : kCMTimeNegativeInfinity;
    }
    if (lhs.epoch != rhs.epoch) return kCMTimeInvalid;
    const int32_t timescale = common_timescale(lhs.timescale, rhs.timescale);
    int64_t a = 0;
    int64_t b = 0;
    bool ra = false;
    bool rb = false;
    if (!rescale(lhs.value, timescale, lhs.timescale, kCMTimeRoundingMethod_Default, &a, &ra) ||
        !rescale(rhs.value, timescale, rhs.timescale, kCMTimeRoundingMethod_Default, &b, &rb))
        return lhs.value * sign > 0 ? kCMTimePositiveInfinity : kCMTimeNegativeInfinity;
    int64_t result = 0;
    const bool overflow = sign > 0 ? __builtin_add_overflow(a, b, &result) : __builtin_sub_overflow(a, b, &result);
    if (overflow) return a > 0 ? kCMTimePositiveInfinity : kCMTimeNegativeInfinity;
    CMTimeFlags flags = k_valid;
    if (ra || rb || ((lhs.flags | rhs.flags) & kCMTimeFlags_HasBeenRounded)) flags |= kCMTimeFlags_HasBeenRounded;
    return make(result, timescale, flags, lhs.epoch);
}

}  // namespace

const CMTime kCMTimeInvalid = make(0, 0, 0, 0);
const CMTime kCMTimeIndefinite = special(kCMTimeFlags_Indefinite);
const CMTime kCMTimePositiveInfinity = special(kCMTimeFlags_PositiveInfinity);
const CMTime kCMTimeNegativeInfinity = special(kCMTimeFlags_NegativeInfinity);
const CMTime kCMTimeZero = make(0, 1, k_valid, 0);

CMTime CMTimeMake(int64_t value, int32_t timescale) {
    // A time needs a positive timescale to be valid.
    if (timescale <= 0) return kCMTimeInvalid;
    return make(value, timescale, k_valid, 0);
}

CMTime CMTimeMakeWithEpoch(int64_t value, int32_t timescale, int64_t epoch) {
    CMTime time = CMTimeMake(value, timescale);
    if (CMTIME_IS_VALID(time)) time.epoch = epoch;
    return time;
}

CMTime CMTimeMakeWithSeconds(Float64 seconds, int32_t preferredTimescale) {
    if (std::isnan(seconds) || preferredTimescale <= 0) return kCMTimeInvalid;
    if (std::isinf(seconds)) return seconds > 0 ? kCMTimePositiveInfinity : kCMTimeNegativeInfinity;
    int32_t timescale = preferredTimescale;
    double value = std::round(seconds * timescale);
    // Values that do not fit lower the timescale until they do.
    while (std::fabs(value) >= 9.2e18 && timescale > 1) {
        timescale /= 2;
        value = std::round(seconds * timescale);
    }
    if (std::fabs(value) >= 9.2e18) return seconds > 0 ? kCMTimePositiveInfinity : kCMTimeNegativeInfinity;
    CMTime time = make(static_cast<int64_t>(value), timescale, k_valid, 0);
    if (value != seconds * timescale) time.flags |= kCMTimeFlags_HasBeenRounded;
    return time;
}

Float64 CMTimeGetSeconds(CMTime time) {
    if (CMTIME_IS_INVALID(time) || CMTIME_IS_INDEFINITE(time)) return std::numeric_limits<double>::quiet_NaN();
    if (CMTIME_IS_POSITIVE_INFINITY(time)) return std::numeric_limits<double>::infinity();
    if (CMTIME_IS_NEGATIVE_INFINITY(time)) return -std::numeric_limits<double>::infinity();
    if (time.timescale == 0) return std::numeric_limits<double>::quiet_NaN();
    return static_cast<double>(time.value) / static_cast<double>(time.timescale);
}

CMTime CMTimeConvertScale(CMTime time, int32_t newTimescale, CMTimeRoundingMethod method) {
    if (!CMTIME_IS_NUMERIC(time)) return time;
    if (newTimescale <= 0) return kCMTimeInvalid;
    if (newTimescale == time.timescale) return time;
    int64_t value = 0;
    bool rounded = false;
    if (!rescale(time.value, newTimescale, time.timescale, method, &value, &rounded))
        return time.value > 0 ? kCMTimePositiveInfinity : kCMTimeNegativeInfinity;
    CMTime result = make(value, newTimescale, time.flags, time.epoch);
    if (rounded) result.flags |= kCMTimeFlags_HasBeenRounded;
    return result;
}

CMTime CMTimeAdd(CMTime lhs, CMTime rhs) {
    return combine(lhs, rhs, 1);
}

CMTime CMTimeSubtract(CMTime lhs, CMTime rhs) {
    return combine(lhs, rhs, -1);
}

CMTime CMTimeMultiplyByRatio(CMTime time, int32_t multiplier, int32_t divisor) {
    if (CMTIME_IS_INVALID(time) || divisor == 0) return kCMTimeInvalid;
    if (!CMTIME_IS_NUMERIC(time)) {
        if (CMTIME_IS_INDEFINITE(time)) return time;
        if (multiplier == 0) return kCMTimeInvalid;
        const bool flip = (multiplier < 0) != (divisor < 0);
        if (!flip) return time;
        return CMTIME_IS_POSITIVE_INFINITY(time) ? kCMTimeNegativeInfinity : kCMTimePositiveInfinity;
    }
    int64_t value = 0;
    bool rounded = false;
    if (!rescale(time.value, multiplier, divisor, kCMTimeRoundingMethod_Default, &value, &rounded))
        return ((time.value > 0) == ((multiplier < 0) == (divisor < 0))) ? kCMTimePositiveInfinity
                                                                         : kCMTimeNegativeInfinity;
    CMTime result = make(value, time.timescale, time.flags, time.epoch);
    if (rounded) result.flags |= kCMTimeFlags_HasBeenRounded;
    return result;
}

CMTime CMTimeMultiply(CMTime time, int32_t multiplier) {
    return CMTimeMultiplyByRatio(time, multiplier, 1);
}

CMTime CMTimeMultiplyByFloat64(CMTime time, Float64 multiplier) {
    if (!CMTIME_IS_NUMERIC(time)) return CMTimeMultiplyByRatio(time, multiplier < 0 ? -1 : multiplier > 0 ? 1 : 0, 1);
    return CMTimeMakeWithSeconds(CMTimeGetSeconds(time) * multiplier, time.timescale);
}

int32_t CMTimeCompare(CMTime time1, CMTime time2) {
    // Order: invalid < negative infinity < numeric < positive infinity < indefinite; invalid
    // times equal each other, as do indefinite ones.
    auto rank = [](const CMTime& t) {
        if (CMTIME_IS_INVALID(t)) return 0;
        if (CMTIME_IS_NEGATIVE_INFINITY(t)) return 1;
        if (CMTIME_IS_NUMERIC(t)) return 2;
        if (CMTIME_IS_POSITIVE_INFINITY(t)) return 3;
        return 4;
    };
    const int r1 = rank(time1);
    const int r2 = rank(time2);
    if (r1 != r2) return r1 < r2 ? -1 : 1;
    if (r1 != 2) return 0;
    if (time1.epoch != time2.epoch) return time1.epoch < time2.epoch ? -1 : 1;
    const __int128 a = static_cast<__int128>(time1.value) * time2.timescale;
    const __int128 b = static_cast<__int128>(time2.value) * time1.timescale;
    return a < b ? -1 : a > b ? 1 : 0;
}

CMTime CMTimeMinimum(CMTime time1, CMTime time2) {
    if (CMTIME_IS_INVALID(time1) || CMTIME_IS_INVALID(time2)) return kCMTimeInvalid;
    return CMTimeCompare(time1, time2) <= 0 ? time1 : time2;
}

CMTime CMTimeMaximum(CMTime time1, CMTime time2) {
    if (CMTIME_IS_INVALID(time1) || CMTIME_IS_INVALID(time2)) return kCMTimeInvalid;
    return CMTimeCompare(time1, time2) >= 0 ? time1 : time2;
}

CMTime CMTimeAbsoluteValue(CMTime time) {
    if (CMTIME_IS_NEGATIVE_INFINITY(time)) return kCMTimePositiveInfinity;
    if (CMTIME_IS_NUMERIC(time) && time.value < 0) {
        if (time.value == std::numeric_limits<int64_t>::min()) return kCMTimePositiveInfinity;
        time.value = -time.value;
    }
    return time;
}

void CMTimeShow(CMTime time) {
    std::fprintf(stderr, "{%lld/%d = %.3f}\n", static_cast<long long>(time.value), time.timescale,
                 CMTimeGetSeconds(time));
}
