// The component only loads the hardware-access library and calls nothing in it, so this one is empty.
