// A file manager's drag in miniature: a window that, when the mouse is pressed on it,
// drags the file named on its command line (XDND, text/uri-list). It stays until killed:
// the target fetches the data after the drop.
#include <QApplication>
#include <QDrag>
#include <QMimeData>
#include <QUrl>
#include <QWidget>

class DragSource : public QWidget {
   protected:
    void mousePressEvent(QMouseEvent*) override {
        auto* data = new QMimeData;
        data->setUrls({QUrl::fromLocalFile(QApplication::arguments().at(1))});
        auto* drag = new QDrag(this);
        drag->setMimeData(data);
        drag->exec(Qt::CopyAction);
    }
};

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    DragSource source;
    source.setWindowTitle(QStringLiteral("drag source"));
    source.setGeometry(1400, 800, 150, 150);
    source.show();
    return app.exec();
}
