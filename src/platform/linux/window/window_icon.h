#pragma once

struct SDL_Window;

/// Gives a window the application's icon.
void SetWindowIcon(SDL_Window *window);
