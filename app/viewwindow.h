// The one window of the program: owns the show and its point list, sets up
// the camera, loads the burst sound and the show's music, draws each frame
// (optionally through a trail texture) and answers the keys.
#pragma once

#include "app/glutyapi4.h"
#include "audio/musicplayer.h"
#include "firework/evaluate.h"
#include "firework/firework.h"
#include "firework/primitive.h"
#include "firework/sceneclock.h"
#include "render/frame.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vexlor {

class ViewWindow : public winkit::glutyAPI4 {
public:
    ViewWindow(int argc, char** argv);
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
    void loadscene();
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
    std::string m_basename;
    std::string m_dirname;
    std::vector<primitive_t> m_primitives;
    std::vector<firework_t> m_scene;
    evaluator_t m_evaluator; // what it knows of the scene makes burnt-out stars free
    sceneclock_t m_clock;
    music_t m_musicfile;
    sndkit::musicplayer_t m_music; // follows m_clock
    frame_t m_frame; // the renderers and the trail image: drawn by the same code as headless renders
};

} // namespace vexlor
