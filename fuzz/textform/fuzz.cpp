// Fuzz target of the typed text form. The first byte picks a type; the rest
// is taken twice, as text and as the raw bytes of a value. Invariants:
//  - text the strict parser accepts, the lenient stream reader reads to the
//    very same value, without failing;
//  - a value of finite numbers is written as text that its reader reads
//    without failing, and what it reads is written as the same text again;
//    for types with a strict parser, that parser accepts the text too and
//    reads the same value.
// The lenient readers are only ever given text the writers made or the
// strict parser accepted: on other text they may wait for a "(" for ever,
// as they are meant to.
#include "geometry/geokit.h"
#include "geometry/textparse.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>

using namespace geokit;

namespace {

void require(bool holds, const char* what, std::string_view text)
{
    if (!holds) {
        std::fprintf(stderr, "invariant broken: %s: \"%.*s\"\n", what, static_cast<int>(text.size()), text.data());
        std::abort();
    }
}

template <typename T> bool bits(const T& a, const T& b) { return std::memcmp(&a, &b, sizeof(T)) == 0; }

template <typename T> std::string text(const T& v)
{
    std::ostringstream os;
    os << v;
    return os.str();
}

template <typename T> bool lenient(const std::string& s, T& v)
{
    std::istringstream is(s);
    is >> v;
    return !is.fail();
}

template <typename T, typename = void> struct strictform : std::false_type {};
template <typename T>
struct strictform<T, std::void_t<decltype(parsetext(std::string_view(), std::declval<T&>()))>> : std::true_type {};

// What the type's numbers are made of, to tell finite values.
template <typename T> constexpr bool ofdoubles = std::is_same_v<T, projection_t>;
template <typename T> constexpr bool ofintegers =
    std::is_same_v<T, position2l_t> || std::is_same_v<T, position2ul_t> || std::is_same_v<T, dim2_t> ||
    std::is_same_v<T, dim3_t>;

template <typename T> bool finite(const T& v)
{
    if constexpr (ofintegers<T>) {
        return true;
    } else if constexpr (ofdoubles<T>) {
        double d[sizeof(T) / sizeof(double)];
        std::memcpy(d, &v, sizeof d);
        for (double x : d)
            if (!std::isfinite(x)) return false;
        return true;
    } else {
        static_assert(sizeof(T) % sizeof(float) == 0);
        float f[sizeof(T) / sizeof(float)];
        std::memcpy(f, &v, sizeof f);
        for (float x : f)
            if (!std::isfinite(x)) return false;
        return true;
    }
}

template <typename T> void roundtrip(const T& v)
{
    const std::string written = text(v);
    T back{};
    require(lenient(written, back), "the reader failed on what the writer wrote", written);
    require(text(back) == written, "what was read back is written differently", written);
    if constexpr (strictform<T>::value) {
        T strict{};
        require(parsetext(written, strict), "the strict parser refused what the writer wrote", written);
        require(bits(strict, back), "the strict parser and the reader differ on written text", written);
    }
}

template <typename T> void check(std::string_view input)
{
    if constexpr (strictform<T>::value) {
        T strict{};
        if (parsetext(input, strict)) {
            T read{};
            require(lenient(std::string(input), read), "the reader failed on strictly valid text", input);
            require(bits(strict, read), "the reader read strictly valid text to another value", input);
            roundtrip(strict);
        }
    }
    if (input.size() >= sizeof(T)) {
        T raw{};
        std::memcpy(&raw, input.data(), sizeof(T));
        if (finite(raw))
            roundtrip(raw);
    }
}

using check_t = void (*)(std::string_view);

constexpr check_t checks[] = {
    check<position3_t>, check<direction3_t>, check<color3a_t>,    check<position2_t>, check<direction2_t>,
    check<vector3w_t>,  check<quaternion_t>, check<polarpos3_t>,  check<angles3_t>,   check<revolution3_t>,
    check<surface_t>,   check<line2d_t>,     check<projection_t>, check<color3_t>,    check<texcoord1_t>,
    check<texcoord2_t>, check<texcoord2q_t>, check<texcoord3_t>,  check<texcoord3q_t>, check<matrix3w_t>,
    check<rotation3_t>, check<straight3_t>,  check<inertial3_t>,  check<box2_t>,      check<box3_t>,
    check<line3d_t>,    check<position2l_t>, check<position2ul_t>, check<dim2_t>,     check<dim3_t>,
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) return 0;
    checks[data[0] % std::size(checks)](std::string_view(reinterpret_cast<const char*>(data + 1), size - 1));
    return 0;
}
