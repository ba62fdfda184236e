// Makes data/countries.geojson from npm packages:
//     npm install --no-save world-atlas@2.0.2 topojson-client@3.1.0 d3-geo@3.1.1 d3-geo-projection@4.0.0 i18n-iso-countries@7.14.0
//     node derive.mjs
// The packages are not needed to run the example; remove node_modules afterwards.
import fs from 'fs'
import { createRequire } from 'module'
import { feature } from 'topojson-client'
import { geoEquirectangular } from 'd3-geo'
import { geoProject } from 'd3-geo-projection'

const require = createRequire(import.meta.url)
const topology = require('world-atlas/countries-50m.json')
const numbers = require('i18n-iso-countries/codes.json')
const codes = new Map(numbers.map(([two, , number]) => [number, two]))

// The source closes rings across the antimeridian and around the pole; this cuts them at 180 degrees, as a plane needs it.
// It makes coordinates of a screen, in degrees with y downwards.
const screen = geoEquirectangular().scale(180 / Math.PI).translate([0, 0]).precision(0)

// To a hundredth of a degree, about a kilometre, which is as exact as the source is. What becomes a point or a stroke goes.
function ring (points) {
  const round = degrees => Math.round(degrees * 100) / 100 + 0
  const rounded = points.map(([x, y]) => [round(x), round(-y)]).reverse()
  return rounded.filter((point, i) => i === 0 || String(point) !== String(rounded[i - 1]))
}
const polygon = rings => rings.map(ring).filter(points => points.length > 3)

const features = geoProject(feature(topology, topology.objects.countries), screen).features.map(country => {
  const { type, coordinates } = country.geometry
  const polygons = (type === 'Polygon' ? [coordinates] : coordinates).map(polygon).filter(rings => rings.length > 0)
  const name = country.properties.name
  // XK is what GeoNames and others use for Kosovo, which has no ISO code.
  const code = codes.get(country.id) || (name === 'Kosovo' ? 'XK' : null)
  return { type: 'Feature', properties: { name, code }, geometry: { type: 'MultiPolygon', coordinates: polygons } }
}).sort((a, b) => a.properties.name < b.properties.name ? -1 : 1)

// A line for each country.
fs.writeFileSync(new URL('data/countries.geojson', import.meta.url),
  '{"type":"FeatureCollection","features":[\n' + features.map(f => JSON.stringify(f)).join(',\n') + '\n]}\n')
