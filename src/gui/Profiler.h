// The main window of the desktop application.
#pragma once

#include <QMainWindow>
#include <QPixmap>
#include <QSet>
#include <array>
#include <map>
#include <memory>
#include <string>

#include "app/MenuState.h"
#include "app/UserInterface.h"
#include "workspace/GlobalVariables.h"

class QAction;
class QDockWidget;
class QLabel;
class QMenu;
class QProgressBar;
class QPushButton;
class QStatusBar;

namespace tintara {
class ProfilerCommands;
}

namespace tintara::gui {

class GridView;
class QtUserInterface;
class SpectralPlots;

// The area under the menu bar: the stretched background picture, the result grid placed where
// the grid procedures put it, and the three buttons under the grid.
class BackgroundCanvas : public QWidget {
    Q_OBJECT
  public:
    explicit BackgroundCanvas(QWidget* parent = nullptr);
    // Loads the picture; false when the file cannot be read (the canvas then stays plain).
    bool LoadPicture(const QString& file);
    bool HasPicture() const { return !m_picture.isNull(); }

  signals:
    void Resized();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    QPixmap m_picture;
};

// The program's only top-level window, captioned "Tintara Profiler": the menu tree, the result
// grid with its three buttons, two status bars (InstrumentBar with two panels above FileStatusBar
// with three), the background picture and a dock of spectral plots for the selected grid row.
//
// The window only presents and forwards: every menu item and button goes to the command layer
// (ProfilerCommands::Execute) through Dispatch, which is also the boundary where any error that
// escapes a command is shown in a message box; the command layer tells the window what to show
// through QtUserInterface. The workspace is owned by the caller and passed by reference.
class Profiler : public QMainWindow {
    Q_OBJECT
  public:
    // `programFolder` is the executable's folder, from which the pictures and, unless
    // TINTARA_HOME names another, Profiler.ini are found.
    Profiler(GlobalVariables& ws, const QString& programFolder, QWidget* parent = nullptr);
    ~Profiler() override;

    // Start-up (Form_Load): `commandLine` is the program's whole argument text. Kept out of the
    // constructor so that tests can install their hooks first.
    void Start(const std::string& commandLine);

    // Runs a command as if the user picked it; errors are shown, never thrown.
    void Dispatch(CommandId id);

    ProfilerCommands& Commands() { return *m_commands; }
    QtUserInterface& Ui() { return *m_ui; }
    GlobalVariables& Workspace() { return m_ws; }
    const QString& ProgramFolder() const { return m_programFolder; }

    // The menu action of an item (a submenu head's menuAction()), or nullptr for a button.
    QAction* Action(CommandId id) const;
    QPushButton* Button(CommandId id) const;
    GridView* Grid() const { return m_gridView; }
    SpectralPlots* Plots() const { return m_plots; }
    QDockWidget* PlotDock() const { return m_plotDock; }
    BackgroundCanvas* Canvas() const { return m_canvas; }
    QStatusBar* FileStatusBar() const { return m_fileBar; }
    QStatusBar* InstrumentBar() const { return m_instrumentBar; }
    QString PanelText(StatusBarId bar, int panel) const;

    // ---- for QtUserInterface ----
    void SetPanelText(StatusBarId bar, int panel, const QString& text);
    void ApplyCommand(const CommandItem& item);
    void ShowStatusProgress(bool visible, long maximum, long value);
    void RefreshGrid();
    int StatusBarHeight() const;

  protected:
    void closeEvent(QCloseEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

  private:
    void BuildMenus();
    void BuildMenu(QMenu* menu, CommandId head);
    void BuildButtons();
    void BuildStatusBars();
    QString CaptionWithMnemonic(const CommandItem& item);
    void PlaceGridAndButtons();
    void UpdatePlots();
    void Activate();

    GlobalVariables& m_ws;
    QString m_programFolder;
    std::unique_ptr<QtUserInterface> m_ui;
    std::unique_ptr<ProfilerCommands> m_commands;
    BackgroundCanvas* m_canvas = nullptr;
    GridView* m_gridView = nullptr;
    QProgressBar* m_hiddenProgress = nullptr;  // the ProgressBar control, kept hidden
    QProgressBar* m_statusProgress = nullptr;  // progress of long work, in the file status bar
    QStatusBar* m_fileBar = nullptr;
    QStatusBar* m_instrumentBar = nullptr;
    std::array<QLabel*, 3> m_filePanels{};
    std::array<QLabel*, 2> m_instrumentPanels{};
    SpectralPlots* m_plots = nullptr;
    QDockWidget* m_plotDock = nullptr;
    QMenu* m_wizardMenu = nullptr;
    std::map<CommandId, QAction*> m_actions;
    std::map<CommandId, QPushButton*> m_buttons;
    // The accelerator letter of each item, unique among its siblings.
    std::map<CommandId, QChar> m_mnemonics;
    bool m_dispatching = false;
};

// The caption the user sees for a text with accelerator marks: "&File" -> "File", "A && B" ->
// "A & B".
QString VisibleCaption(const QString& text);

// Puts an accelerator mark in `caption` on a letter not in `taken` (case does not matter) and
// adds that letter to `taken`: `preferred` if the caption has it, else the first free initial of a
// capitalised word, of any word, then any free letter. '&' in the caption is doubled. A caption
// with no free letter gets no mark.
QString WithMnemonic(const QString& caption, QSet<QChar>& taken, QChar preferred = {});

}  // namespace tintara::gui
