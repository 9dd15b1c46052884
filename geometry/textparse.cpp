// Strict typed values: one scan over the text, numbers by the locale-free
// parser of basekit. What passes here, the lenient stream readers read to the
// same value.
#include "geometry/textparse.h"

#include "utils/numtext.h"

namespace geokit {

namespace {

class scan_t {
public:
    explicit scan_t(std::string_view text) : m_p(text.data()), m_end(text.data() + text.size()) {}

    bool word(std::string_view word)
    {
        if (static_cast<std::size_t>(m_end - m_p) < word.size() || std::string_view(m_p, word.size()) != word)
            return false;
        m_p += word.size();
        return take('(');
    }

    template <typename T> bool number(T& value)
    {
        blanks();
        const char* end = basekit::parsenumber(m_p, m_end, value);
        if (end == nullptr)
            return false;
        m_p = end;
        blanks();
        return true;
    }

    bool take(char c)
    {
        if (m_p == m_end || *m_p != c)
            return false;
        ++m_p;
        return true;
    }

    bool atend() const { return m_p == m_end; }

private:
    void blanks()
    {
        while (m_p != m_end && (*m_p == ' ' || *m_p == '\t'))
            ++m_p;
    }

    const char* m_p;
    const char* m_end;
};

template <typename First, typename... Rest>
bool parse(std::string_view text, std::string_view word, First& first, Rest&... rest)
{
    scan_t scan(text);
    return scan.word(word) && scan.number(first) && ((scan.take(',') && scan.number(rest)) && ...)
        && scan.take(')') && scan.atend();
}

} // namespace

bool parsetext(std::string_view text, position3_t& v) { return parse(text, "pos3", v.x, v.y, v.z); }
bool parsetext(std::string_view text, direction3_t& v) { return parse(text, "dir3", v.x, v.y, v.z); }
bool parsetext(std::string_view text, position2_t& v) { return parse(text, "pos2", v.x, v.y); }
bool parsetext(std::string_view text, direction2_t& v) { return parse(text, "dir2", v.x, v.y); }
bool parsetext(std::string_view text, vector3w_t& v) { return parse(text, "vec3w", v.x, v.y, v.z, v.w); }
bool parsetext(std::string_view text, quaternion_t& v) { return parse(text, "qua", v.x, v.y, v.z, v.w); }
bool parsetext(std::string_view text, polarpos3_t& v) { return parse(text, "plr3", v.r, v.theta, v.phi); }
bool parsetext(std::string_view text, angles3_t& v) { return parse(text, "ang3", v.x, v.y, v.z); }
bool parsetext(std::string_view text, revolution3_t& v) { return parse(text, "rev3", v.x, v.y, v.z); }
bool parsetext(std::string_view text, surface_t& v) { return parse(text, "surface", v.a, v.b, v.c, v.d); }
bool parsetext(std::string_view text, line2d_t& v) { return parse(text, "line2d", v.a, v.b, v.c); }
bool parsetext(std::string_view text, projection_t& v)
{
    return parse(text, "projection", v.left, v.right, v.bottom, v.top, v.near, v.far);
}
bool parsetext(std::string_view text, color3_t& v) { return parse(text, "col3", v.r, v.g, v.b); }
bool parsetext(std::string_view text, color3a_t& v) { return parse(text, "col3a", v.r, v.g, v.b, v.a); }
bool parsetext(std::string_view text, texcoord1_t& v) { return parse(text, "txc1", v.s); }
bool parsetext(std::string_view text, texcoord2_t& v) { return parse(text, "txc2", v.s, v.t); }
bool parsetext(std::string_view text, texcoord2q_t& v) { return parse(text, "txc2q", v.s, v.t, v.q); }
bool parsetext(std::string_view text, texcoord3_t& v) { return parse(text, "txc3", v.s, v.t, v.r); }
bool parsetext(std::string_view text, texcoord3q_t& v) { return parse(text, "txc3q", v.s, v.t, v.r, v.q); }

} // namespace geokit
