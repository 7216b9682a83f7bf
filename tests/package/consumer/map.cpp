#include <Cartolith/Map/MapView.h>

int main() {
    const Cartolith::Map::MapView view({0, 0, 20, 10}, {0, 0, 200, 100});
    return view.toPixel(5, 5) == QPointF(50, 50) ? 0 : 1;
}
