// The one window of the program: owns the show and its point list, sets up
// the camera, loads the burst sound and the show's music, draws each frame
// (optionally through a trail texture) and answers the keys. The show loads on
// a worker thread while the window shows how far it has got.
#pragma once

#include "app/glutyapi4.h"
#include "app/showloader.h"
#include "app/usage.h"
#include "audio/musicplayer.h"
#include "firework/evaluate.h"
#include "firework/firework.h"
#include "firework/primitive.h"
#include "firework/sceneclock.h"
#include "firework/show.h"
#include "firework/smoke.h"
#include "render/frame.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vexlor {

class ViewWindow : public winkit::glutyAPI4 {
public:
    ViewWindow(int argc, char** argv, viewoptions_t options = {});
    ~ViewWindow() override;

    void init() override;
    void reshape(int width, int height) override;
    void display() override;
    void idle() override;
    void keyboard(unsigned char key, int x, int y) override;
    void specialkey(int key, int x, int y) override;
    void specialkeyup(int key, int x, int y) override;

private:
    void loadsound();
    void startload();
    void pollload();
    bool loading() const { return !m_loaded; }
    void quit();
    void restart();
    void togglepause();
    void step(std::int64_t micros);
    void toggleworkarea();
    void loadmusic();
    // Tells the music where the show's clock now stands after a move.
    void movemusic();
    double showtime() const;

    int m_argc;
    char** m_argv;
    viewoptions_t m_options;
    std::string m_basename;
    std::string m_dirname;
    std::vector<primitive_t> m_primitives;
    show_t m_show;
    showloader_t m_loader;
    bool m_loaded = false;
    int m_shownpercent = -1; // the percentage last put in the title while loading
    evaluator_t m_evaluator; // what it knows of the scene makes burnt-out stars free
    sceneclock_t m_clock;
    sndkit::musicplayer_t m_music; // follows m_clock
    frame_t m_frame; // the renderers and the trail image: drawn by the same code as headless renders
    smoke_t m_smoke; // the night look's
    std::vector<primitive_t> m_puffs;
};

} // namespace vexlor
