// The tagged text form: type words to tags and back, and mtype_reader's
// writer and reader, which dispatch on the tag to the typed operators.
#include "geometry/streamtype.h"

#include "geometry/geometry_in.h"
#include "geometry/geometry_out.h"
#include "utils/numtext.h"
#include "utils/ssutil.h"

#include <cstring>
#include <ios>

namespace geokit {

namespace {

bool is_delimiter(int ch) {
    return ch == '(' || ch == ')' || ch == '\t' || ch == '\r' || ch == '\n' || ch == ',';
}

// Writing into a fresh local and assigning keeps the union's active member
// well defined.
template <typename T> void read_member(std::istream& is, T& member) {
    T value{};
    is >> value;
    member = value;
}

// Unknown value: everything up to and including the next ")".
void skip_value(std::istream& is) {
    while (is.peek() != ')')
        is.get();
    is.get();
}

} // namespace

e_mtype_t get_mtype(const char* word) {
    if (word == nullptr) return mt_none;
    for (const mtype_name_t& row : mtype_table) {
        if (row.name == nullptr) continue;
        if (std::strncmp(row.name, word, mtype_word_max) == 0) return row.type;
    }
    return mt_none;
}

std::ostream& operator<<(std::ostream& os, e_mtype_t type) {
    constexpr std::uint32_t last_row = sizeof(mtype_table) / sizeof(mtype_table[0]) - 1;
    if (type > last_row) return os << "range over" << std::endl;
    const mtype_name_t& row = mtype_table[type];
    if (row.type != type) return os << "table error" << std::endl;
    if (row.name == nullptr) return os << "no type" << std::endl;
    return os << row.name;
}

std::istream& operator>>(std::istream& is, e_mtype_t& type) {
    is.setf(std::ios::skipws);
    char word[mtype_word_max + 1] = {};
    int length = 0;
    while (length < mtype_word_max && !is_delimiter(is.peek())) {
        char c = 0;
        if (!(is >> c)) break;
        word[length++] = c;
    }
    type = length == 0 ? mt_none : get_mtype(word);
    return is;
}

std::ostream& operator<<(std::ostream& os, const mtype_reader& v) {
    switch (v.type) {
    case mt_float: {
        basekit::keepflag guard(os);
        basekit::classicnumbers numbers(os);
        os.setf(std::ios::fixed, std::ios::floatfield);
        return os << "float(" << static_cast<double>(v.flt) << ')';
    }
    case mt_pos3:
        return os << v.pos3;
    case mt_dir3:
        return os << v.dir3;
    case mt_pos2:
        return os << v.pos2;
    case mt_dir2:
        return os << v.dir2;
    case mt_pos2l:
        return os << v.pos2l;
    case mt_dir2l:
        return os << v.dir2l;
    case mt_pos2ul:
        return os << v.pos2ul;
    case mt_dir2ul:
        return os << v.dir2ul;
    case mt_qua:
        return os << v.qua;
    case mt_rot3:
        return os << v.rot3;
    case mt_pst3w:
        return os << v.pst3w;
    case mt_plr3:
        return os << v.plr3;
    case mt_ang3:
        return os << v.ang3;
    case mt_rev3:
        return os << v.rev3;
    case mt_srt3:
        return os << v.srt3;
    case mt_irt3:
        return os << v.irt3;
    case mt_vec3w:
        return os << v.vec3w;
    case mt_col3:
        return os << v.col3;
    case mt_col3a:
        return os << v.col3a;
    case mt_txc1:
        return os << v.txc1;
    case mt_txc2:
        return os << v.txc2;
    case mt_txc2q:
        return os << v.txc2q;
    case mt_txc3:
        return os << v.txc3;
    case mt_txc3q:
        return os << v.txc3q;
    case mt_mtx3w:
        return os << v.mtx3w;
    case mt_col3aub:
        return os << v.col3aub;
    case mt_col3ub:
        return os << v.col3ub;
    case mt_col1aub:
        return os << v.col1aub;
    case mt_col1ub:
        return os << v.col1ub;
    case mt_projection:
        return os << v.projection;
    default:
        return os; // boxes, sizes, surfaces, lines and unknown tags write nothing
    }
}

std::istream& operator>>(std::istream& is, mtype_reader& v) {
    is >> v.type;
    switch (v.type) {
    case mt_float: {
        basekit::classicnumbers numbers(is);
        char c = 0;
        is >> c;
        float value = 0.0f;
        is >> value;
        v.flt = value;
        is >> c;
        break;
    }
    case mt_pos3:
        read_member(is, v.pos3);
        break;
    case mt_dir3:
        read_member(is, v.dir3);
        break;
    case mt_pos2:
        read_member(is, v.pos2);
        break;
    case mt_dir2:
        read_member(is, v.dir2);
        break;
    case mt_pos2l:
        read_member(is, v.pos2l);
        break;
    case mt_dir2l:
        read_member(is, v.dir2l);
        break;
    case mt_pos2ul:
        read_member(is, v.pos2ul);
        break;
    case mt_dir2ul:
        read_member(is, v.dir2ul);
        break;
    case mt_qua:
        read_member(is, v.qua);
        break;
    case mt_rot3:
        read_member(is, v.rot3);
        break;
    case mt_pst3w:
        read_member(is, v.pst3w);
        break;
    case mt_plr3:
        read_member(is, v.plr3);
        break;
    case mt_ang3:
        read_member(is, v.ang3);
        break;
    case mt_rev3:
        read_member(is, v.rev3);
        break;
    case mt_srt3:
        read_member(is, v.srt3);
        break;
    case mt_irt3:
        read_member(is, v.irt3);
        break;
    case mt_vec3w:
        read_member(is, v.vec3w);
        break;
    case mt_col3:
        read_member(is, v.col3);
        break;
    case mt_col3a:
        read_member(is, v.col3a);
        break;
    case mt_txc1:
        read_member(is, v.txc1);
        break;
    case mt_txc2:
        read_member(is, v.txc2);
        break;
    case mt_txc2q:
        read_member(is, v.txc2q);
        break;
    case mt_txc3:
        read_member(is, v.txc3);
        break;
    case mt_txc3q:
        read_member(is, v.txc3q);
        break;
    case mt_mtx3w:
        read_member(is, v.mtx3w);
        break;
    case mt_box2:
        read_member(is, v.box2);
        break;
    case mt_box3:
        read_member(is, v.box3);
        break;
    case mt_dim2:
        read_member(is, v.dim2);
        break;
    case mt_dim3:
        read_member(is, v.dim3);
        break;
    case mt_col3aub:
        read_member(is, v.col3aub);
        break;
    case mt_col3ub:
        read_member(is, v.col3ub);
        break;
    case mt_col1aub:
        read_member(is, v.col1aub);
        break;
    case mt_col1ub:
        read_member(is, v.col1ub);
        break;
    case mt_surface:
        read_member(is, v.surface);
        break;
    case mt_line2d:
        read_member(is, v.line2d);
        break;
    case mt_line3d:
        read_member(is, v.line3d);
        break;
    case mt_projection:
        read_member(is, v.projection);
        break;
    default:
        skip_value(is);
        break;
    }
    return is;
}

} // namespace geokit
