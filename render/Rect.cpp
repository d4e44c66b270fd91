#include "render/Rect.h"

bool IsEmptyRect(const PF_LRect* r) { return r->left >= r->right || r->top >= r->bottom; }

void UnionLRect(const PF_LRect* src, PF_LRect* dst)
{
    if (IsEmptyRect(dst)) {
        *dst = *src;
        return;
    }
    if (IsEmptyRect(src))
        return;
    if (src->left < dst->left)
        dst->left = src->left;
    if (src->top < dst->top)
        dst->top = src->top;
    if (src->right > dst->right)
        dst->right = src->right;
    if (src->bottom > dst->bottom)
        dst->bottom = src->bottom;
}

bool IsEdgePixel(PF_LRect* r, int x, int y)
{
    const bool onColumn = (x == r->left || x == r->right) && r->top <= y && y <= r->bottom;
    const bool onRow = (y == r->top || y == r->bottom) && r->left <= x && x <= r->right;
    return onColumn || onRow;
}

void Process(int, int, PF_Pixel*, RenderData*) {}
void Process(int, int, PF_Pixel16*, RenderData*) {}
void Process(int, int, PF_PixelFloat*, RenderData*) {}
