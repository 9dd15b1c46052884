// The one window of the program: sets up the camera, loads the burst sound
// and the show, draws each frame of the show runner (optionally through a
// trail texture) and answers the keys. The show loads on a worker thread
// while the window shows how far it has got. What it holds is main's
// viewstate_t; a failure ends the main loop with the state's status.
#pragma once

#include "app/glutyapi4.h"
#include "app/viewstate.h"

#include <cstdint>
#include <string>

namespace vexlor {

class ViewWindow : public winkit::glutyAPI4 {
public:
    ViewWindow(int argc, char** argv, viewstate_t& state);

    bool init() override;
    void reshape(int width, int height) override;
    void display() override;
    void idle() override;
    void wake() override;
    void keyboard(unsigned char key, int x, int y) override;
    void specialkey(int key, int x, int y) override;
    void specialkeyup(int key, int x, int y) override;

private:
    bool loadsound();
    void pollload();
    bool pollreload();
    void watchfiles(bool anyinfolder);
    void replaceshow(show_t show);
    void settitle();
    bool loading() const { return !m_state.loaded; }
    // Ends the main loop; the program then exits with `status`.
    void quit(int status);
    void restart();
    void togglepause();
    void step(std::int64_t micros);
    void seekto(double showtime);
    void toggleworkarea();

    int m_argc;
    char** m_argv;
    std::string m_basename;
    std::string m_dirname;
    viewstate_t& m_state;
};

} // namespace vexlor
