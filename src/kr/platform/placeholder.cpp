// Stands in until the layer has sources of its own.
