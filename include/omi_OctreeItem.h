// The geometry of the octree: points, axis-aligned boxes, lines, and the two kinds of item an
// octree holds (a point or a box, each with the client's integer id).
//
// Coordinates are doubles, the precision a simulation model holds its nodes in, so that an item
// comes back exactly as it went in. Everything here is a plain value, copied freely; nothing is
// shared and nothing locks. A box is closed: a point on its face is inside it, and two boxes that
// touch overlap. A valid box has finite coordinates with min at or below max on every axis; a
// degenerate box (min equal to max on some axis) is valid.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

struct omi_OctreePoint {
    double coord[3];
};

struct omi_OctreeBox {
    omi_OctreePoint min;
    omi_OctreePoint max;
};

// The points origin + t * direction for t from 0 to end: a segment from a to b has direction
// b - a and end 1, a ray has end infinity. A zero direction is a single point.
struct omi_OctreeLine {
    omi_OctreePoint origin;
    omi_OctreePoint direction;
    double end;
};

inline omi_OctreeLine omi_OctreeSegment(const omi_OctreePoint& from, const omi_OctreePoint& to) {
    return {
        from,
        {{to.coord[0] - from.coord[0], to.coord[1] - from.coord[1], to.coord[2] - from.coord[2]}},
        1.0};
}

inline omi_OctreeLine omi_OctreeRay(const omi_OctreePoint& origin,
                                    const omi_OctreePoint& direction) {
    return {origin, direction, std::numeric_limits<double>::infinity()};
}

// 32 bytes: the three coordinates and the id.
struct omi_OctreePointItem {
    omi_OctreePoint point;
    int32_t id;
};

// 56 bytes: the two corners and the id.
struct omi_OctreeBoxItem {
    omi_OctreeBox box;
    int32_t id;
};

namespace vlt::detail {

inline bool omi_IsFinite(const omi_OctreePoint& p) {
    return std::isfinite(p.coord[0]) && std::isfinite(p.coord[1]) && std::isfinite(p.coord[2]);
}

inline bool omi_IsValid(const omi_OctreeBox& box) {
    return omi_IsFinite(box.min) && omi_IsFinite(box.max) && box.min.coord[0] <= box.max.coord[0] &&
           box.min.coord[1] <= box.max.coord[1] && box.min.coord[2] <= box.max.coord[2];
}

// The box that contains nothing and that any box grows it to.
inline omi_OctreeBox omi_EmptyBox() {
    constexpr double inf = std::numeric_limits<double>::infinity();
    return {{{inf, inf, inf}}, {{-inf, -inf, -inf}}};
}

inline void omi_Expand(omi_OctreeBox& box, const omi_OctreeBox& by) {
    for (int axis = 0; axis < 3; ++axis) {
        const double low = by.min.coord[axis];
        const double high = by.max.coord[axis];
        box.min.coord[axis] = low < box.min.coord[axis] ? low : box.min.coord[axis];
        box.max.coord[axis] = high > box.max.coord[axis] ? high : box.max.coord[axis];
    }
}

// Without short cuts: one unpredictable branch instead of six.
inline bool omi_Overlaps(const omi_OctreeBox& a, const omi_OctreeBox& b) {
    return (a.min.coord[0] <= b.max.coord[0]) & (b.min.coord[0] <= a.max.coord[0]) &
           (a.min.coord[1] <= b.max.coord[1]) & (b.min.coord[1] <= a.max.coord[1]) &
           (a.min.coord[2] <= b.max.coord[2]) & (b.min.coord[2] <= a.max.coord[2]);
}

inline bool omi_Encloses(const omi_OctreeBox& outer, const omi_OctreeBox& inner) {
    return outer.min.coord[0] <= inner.min.coord[0] && inner.max.coord[0] <= outer.max.coord[0] &&
           outer.min.coord[1] <= inner.min.coord[1] && inner.max.coord[1] <= outer.max.coord[1] &&
           outer.min.coord[2] <= inner.min.coord[2] && inner.max.coord[2] <= outer.max.coord[2];
}

inline double omi_DistanceSquared(const omi_OctreeBox& box, const omi_OctreePoint& p) {
    double sum = 0;
    for (int axis = 0; axis < 3; ++axis) {
        const double below = box.min.coord[axis] - p.coord[axis];
        const double above = p.coord[axis] - box.max.coord[axis];
        const double gap = below > 0 ? below : (above > 0 ? above : 0.0);
        sum += gap * gap;
    }
    return sum;
}

inline double omi_DistanceSquared(const omi_OctreePoint& a, const omi_OctreePoint& p) {
    const double dx = a.coord[0] - p.coord[0];
    const double dy = a.coord[1] - p.coord[1];
    const double dz = a.coord[2] - p.coord[2];
    return dx * dx + dy * dy + dz * dz;
}

// A line prepared for many slab tests. `Crosses` divides by the direction, so that a segment
// from a to b meets a point item at b at exactly t = 1; `MayCross`, for cells and leaves,
// multiplies by reciprocals and widens the interval it finds by far more than their rounding,
// so that it never misses what `Crosses` finds in the box, nor enters it later.
struct omi_PreparedLine {
    explicit omi_PreparedLine(const omi_OctreeLine& line)
        : origin(line.origin), direction(line.direction), end(line.end) {
        for (int axis = 0; axis < 3; ++axis) {
            inverse[axis] = 1.0 / direction.coord[axis];
            // A reciprocal that overflows would turn 0 times infinity into NaN: divide instead.
            divide[axis] = !std::isfinite(inverse[axis]);
        }
    }

    // Whether the line meets the box for some t in [0, limit]; if so, the first and last such t.
    bool Crosses(const omi_OctreeBox& box, double limit, double& enter, double& exit) const {
        return Clip<false>(box, limit, enter, exit);
    }
    bool MayCross(const omi_OctreeBox& box, double limit, double& enter, double& exit) const {
        return Clip<true>(box, limit, enter, exit);
    }

    omi_OctreePoint origin;
    omi_OctreePoint direction;
    double end;
    double inverse[3];
    bool divide[3];

private:
    template <bool Widen>
    bool Clip(const omi_OctreeBox& box, double limit, double& enter, double& exit) const {
        constexpr double kSlack = 1e-13;
        double near = 0;
        double far = limit;
        for (int axis = 0; axis < 3; ++axis) {
            const double o = origin.coord[axis];
            const double d = direction.coord[axis];
            if (d == 0) {
                if (o < box.min.coord[axis] || o > box.max.coord[axis]) {
                    return false;
                }
                continue;
            }
            double t0;
            double t1;
            if (Widen && !divide[axis]) {
                t0 = (box.min.coord[axis] - o) * inverse[axis];
                t1 = (box.max.coord[axis] - o) * inverse[axis];
            } else {
                t0 = (box.min.coord[axis] - o) / d;
                t1 = (box.max.coord[axis] - o) / d;
            }
            if (d < 0) {
                const double swap = t0;
                t0 = t1;
                t1 = swap;
            }
            if (Widen) {
                // Scaled, not shifted, so that an infinite t stays infinite instead of NaN.
                t0 *= t0 > 0 ? 1 - kSlack : 1 + kSlack;
                t1 *= t1 > 0 ? 1 + kSlack : 1 - kSlack;
            }
            near = t0 > near ? t0 : near;
            far = t1 < far ? t1 : far;
        }
        enter = near;
        exit = far;
        return near <= far;
    }
};

// What the octree needs to know of an item kind, one overload set per kind.
inline omi_OctreeBox omi_BoundsOf(const omi_OctreePointItem& item) {
    return {item.point, item.point};
}
inline omi_OctreeBox omi_BoundsOf(const omi_OctreeBoxItem& item) {
    return item.box;
}

// Halves first: the sum of two finite coordinates may overflow.
inline omi_OctreePoint omi_CenterOf(const omi_OctreePointItem& item) {
    return item.point;
}
inline omi_OctreePoint omi_CenterOf(const omi_OctreeBoxItem& item) {
    const omi_OctreeBox& b = item.box;
    return {{0.5 * b.min.coord[0] + 0.5 * b.max.coord[0],
             0.5 * b.min.coord[1] + 0.5 * b.max.coord[1],
             0.5 * b.min.coord[2] + 0.5 * b.max.coord[2]}};
}

// The order of the items in a leaf.
inline double omi_MinX(const omi_OctreePointItem& item) {
    return item.point.coord[0];
}
inline double omi_MinX(const omi_OctreeBoxItem& item) {
    return item.box.min.coord[0];
}
template <class Item>
bool omi_XBefore(const Item& a, const Item& b) {
    return omi_MinX(a) < omi_MinX(b);
}

inline bool omi_IsValid(const omi_OctreePointItem& item) {
    return omi_IsFinite(item.point);
}
inline bool omi_IsValid(const omi_OctreeBoxItem& item) {
    return omi_IsValid(item.box);
}

inline double omi_DistanceSquared(const omi_OctreePointItem& item, const omi_OctreePoint& p) {
    return omi_DistanceSquared(item.point, p);
}
inline double omi_DistanceSquared(const omi_OctreeBoxItem& item, const omi_OctreePoint& p) {
    return omi_DistanceSquared(item.box, p);
}

inline bool omi_Overlaps(const omi_OctreePointItem& item, const omi_OctreeBox& box) {
    const omi_OctreePoint& p = item.point;
    return (box.min.coord[0] <= p.coord[0]) & (p.coord[0] <= box.max.coord[0]) &
           (box.min.coord[1] <= p.coord[1]) & (p.coord[1] <= box.max.coord[1]) &
           (box.min.coord[2] <= p.coord[2]) & (p.coord[2] <= box.max.coord[2]);
}
inline bool omi_Overlaps(const omi_OctreeBoxItem& item, const omi_OctreeBox& box) {
    return omi_Overlaps(item.box, box);
}

inline bool omi_SameItem(const omi_OctreePointItem& a, const omi_OctreePointItem& b) {
    return a.id == b.id && a.point.coord[0] == b.point.coord[0] &&
           a.point.coord[1] == b.point.coord[1] && a.point.coord[2] == b.point.coord[2];
}
inline bool omi_SameItem(const omi_OctreeBoxItem& a, const omi_OctreeBoxItem& b) {
    for (int axis = 0; axis < 3; ++axis) {
        if (a.box.min.coord[axis] != b.box.min.coord[axis] ||
            a.box.max.coord[axis] != b.box.max.coord[axis]) {
            return false;
        }
    }
    return a.id == b.id;
}

} // namespace vlt::detail
