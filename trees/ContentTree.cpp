// The forms of the content tree and its nodes that the library uses, compiled once.

#include "trees/ContentTree_Impl.h"

namespace Velk::Math::Sorvane::Tree {

#define SORVANE_INSTANTIATE(D, T, K, Base)   \
    template struct Base<D, T>;              \
    template struct QOFTreeContent<D, T, K>; \
    template class QOFContentSet<D, T, K>;   \
    template class QOFNode<D, T, K>;
SORVANE_INSTANTIATE(2, float, 0, QOFTreeContentBox)
SORVANE_INSTANTIATE(2, double, 0, QOFTreeContentBox)
SORVANE_INSTANTIATE(3, double, 0, QOFTreeContentBox)
SORVANE_INSTANTIATE(2, double, 1, QOFTreeContentBall)
SORVANE_INSTANTIATE(3, double, 1, QOFTreeContentBall)
#undef SORVANE_INSTANTIATE

template class QOFAddressableNode<3, double, 1>;

template class QOFTree<2, float, 0, QOFNode<2, float, 0>>;
template class QOFTree<2, double, 0, QOFNode<2, double, 0>>;
template class QOFTree<3, double, 0, QOFNode<3, double, 0>>;
template class QOFTree<2, double, 1, QOFNode<2, double, 1>>;

} // namespace Velk::Math::Sorvane::Tree
